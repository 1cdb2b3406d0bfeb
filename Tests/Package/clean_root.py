"""A Debian system of nothing but the essential packages and apt, made from the sources that this machine's apt has.

It is kept and made anew when those sources have something new, so that what it installs can still be fetched.
"""

import hashlib
import pathlib
import re
import shutil
import subprocess

# What apt must be told on this machine, it must be told there as well.
APT_SETTINGS = re.compile(r'^(Acquire::(?:http|https)::Proxy|Acquire::Check-Valid-Until|Acquire::Check-Date) "(.*)";$',
                          re.MULTILINE)


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def debian_sources():
    """Lines for sources.list: what of this machine's sources is Debian itself."""
    lines = output_of("apt-get", "indextargets", "--format", "deb $(REPO_URI) $(RELEASE) $(COMPONENT)",
                      "Created-By: Packages", "Origin: Debian").splitlines()
    return "".join(f"{line}\n" for line in sorted(set(lines)))


def state_of_sources():
    """Changes whenever `apt-get update` brings something new."""
    names = output_of("apt-get", "indextargets", "--format", "$(FILENAME)", "Created-By: Packages", "Origin: Debian")
    digest = hashlib.sha256()
    for name in sorted(names.split()):
        for release in sorted(pathlib.Path(name).parent.glob("*InRelease")):
            digest.update(release.read_bytes())
    return digest.hexdigest()


def codename():
    return re.search(r"^VERSION_CODENAME=(\w+)$", pathlib.Path("/etc/os-release").read_text(), re.MULTILINE)[1]


def make(folder):
    """Makes the system in `folder`/root unless it is there already, and returns that path. Needs root."""
    root, stamp = folder / "root", folder / "root.stamp"
    sources = debian_sources()
    if not sources:
        subprocess.run(["apt-get", "--quiet", "update"], check=True)
        sources = debian_sources()
    settings = [f'{name} "{value}"' for name, value in APT_SETTINGS.findall(output_of("apt-config", "dump"))]
    wanted = "\n".join([codename(), sources, *settings, state_of_sources()])
    if root.is_dir() and stamp.exists() and stamp.read_text() == wanted:
        print("   a clean Debian system is there from the last time", flush=True)
        return root
    print("   making a clean Debian system", flush=True)
    stamp.unlink(missing_ok=True)
    shutil.rmtree(root, ignore_errors=True)
    # Its lists stay, so that nothing but packages is to be fetched later.
    subprocess.run(["mmdebstrap", "--quiet", "--mode=root", "--variant=minbase", "--skip=cleanup/apt",
                    *(f"--aptopt={setting}" for setting in settings), codename(), root, "-"],
                   input=sources, text=True, check=True)
    stamp.write_text(wanted)
    return root
