#pragma once

#include <QString>

#include <filesystem>

namespace glimmerwick {

/// The licences of the program, of the libraries it is made with, and of the catalogue's data, which stand in
/// the file: a list, then the texts. Says so where the file cannot be read.
QString licenceTexts(const std::filesystem::path& catalogueLicences);

/// The program's own licence in full.
QString programLicence();

} // namespace glimmerwick
