#!/usr/bin/env python3
"""Looks at the list of what the binaries consist of: sbom-test.py BUILD linux|windows COMPILER. That it
is an SPDX 2.3 document, that its versions are those of this machine, asked for in another way than CMake
did, and that no library that the product needs or is shipped with is missing from it."""

import json
import pathlib
import re
import subprocess
import sys
import tempfile

SYSTEM = {"kernel32.dll", "msvcrt.dll", "advapi32.dll", "bcrypt.dll", "ktmw32.dll", "ole32.dll", "oleaut32.dll",
          "netapi32.dll", "ntdll.dll", "ld-linux-x86-64.so.2"}
LICENCES = {"BSL-1.0", "GPL-3.0-or-later WITH GCC-exception-3.1", "MIT AND BSD-3-Clause", "ZPL-2.1", "BSD-3-Clause",
            "LGPL-2.1-or-later", "GPL-3.0-or-later", "NOASSERTION"}
# When GCC's library was released. Debian's cross compiler does not tell its own version.
RELEASES = {"20220819": "12.2.0"}
RELATIONSHIPS = {"DESCRIBES", "STATIC_LINK", "CONTAINS", "RUNTIME_DEPENDENCY_OF", "BUILD_TOOL_OF"}
wrong = []


def expect(what, condition):
    if not condition:
        wrong.append(what)


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def check_form(document):
    """What SPDX 2.3 demands of a document without files."""
    for key in ("spdxVersion", "dataLicense", "SPDXID", "name", "documentNamespace", "creationInfo", "packages",
                "relationships"):
        expect(f"{key} is there", key in document)
    expect("the version of the form", document["spdxVersion"] == "SPDX-2.3")
    expect("the licence of the document", document["dataLicense"] == "CC0-1.0")
    expect("the document's identifier", document["SPDXID"] == "SPDXRef-DOCUMENT")
    expect("a name that is a URI without a fragment",
           re.fullmatch(r"urn:uuid:[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}", document["documentNamespace"]))
    expect("the time", re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", document["creationInfo"]["created"]))
    expect("the creators", document["creationInfo"]["creators"] and all(
        re.match(r"(Tool|Organization|Person): .", creator) for creator in document["creationInfo"]["creators"]))
    identifiers = [package["SPDXID"] for package in document["packages"]]
    expect("each identifier once", len(set(identifiers)) == len(identifiers))
    for package in document["packages"]:
        name = package["SPDXID"]
        expect(f"the form of {name}", re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", name))
        for key in ("name", "versionInfo", "downloadLocation"):
            expect(f"{key} of {name}", package.get(key))
        expect(f"no files of {name} are looked at", package["filesAnalyzed"] is False)
        expect(f"the licence of {name}", package["licenseDeclared"] in LICENCES)
        for reference in package.get("externalRefs", []):
            expect(f"the address of {name}", re.fullmatch(r"pkg:[a-z]+/[\w.-]+@[\w.]+", reference["referenceLocator"]))
    known = {document["SPDXID"], *identifiers}
    related = set()
    for relationship in document["relationships"]:
        ends = {relationship["spdxElementId"], relationship["relatedSpdxElement"]}
        expect(f"both ends of {relationship} are there", ends <= known)
        expect(f"the kind of {relationship}", relationship["relationshipType"] in RELATIONSHIPS)
        related |= ends
    expect("every package is related to ours", known == related)
    expect("the document describes our package", document["documentDescribes"] == ["SPDXRef-kest"])


def needed(binary):
    """What a binary asks the loader for."""
    text = output("objdump", "-p", binary)
    return {name if name.startswith("lib") else name.lower()
            for name in re.findall(r"^(?:\s+NEEDED\s+|\tDLL Name: )(\S+)", text, re.MULTILINE)}


def main():
    build, platform, compiler = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
    top = pathlib.Path(__file__).resolve().parent.parent
    with tempfile.TemporaryDirectory() as place:
        output("cmake", "--install", str(build), "--prefix", place)
        document = json.loads((pathlib.Path(place) / "share/kest/kest.spdx.json").read_text(encoding="utf-8"))
        check_form(document)
        packages = {package["name"]: package for package in document["packages"]}
        files = {package["packageFileName"] for package in document["packages"] if "packageFileName" in package}
        own = packages["kest"]["packageFileName"]
        shipped = {path.name for pattern in ("bin/*.dll", "lib/*.so.*.*.*") for path in pathlib.Path(place).glob(pattern)}
        expect(f"of what is shipped all is listed: {shipped - files}", shipped <= files and own in shipped)
        library = next(pathlib.Path(place).glob(f"*/{own}"))
        missing = needed(str(library)) - SYSTEM - files
        expect(f"of what the library needs all is listed: {missing}", not missing)
    versions = {
        "kest": re.search(r"project\(Kest VERSION ([\d.]+)", (top / "CMakeLists.txt").read_text(encoding="utf-8"))[1],
        "CMake": output("cmake", "--version").split()[2],
    }
    gcc = output(compiler, "-dumpfullversion").strip()
    if platform == "windows":
        macros = subprocess.run([compiler, "-E", "-dM", "-x", "c++", "-"], input="#include <cstddef>", check=True,
                                capture_output=True, text=True).stdout
        gcc = RELEASES.get(re.search(r"__GLIBCXX__ (\d+)", macros)[1])
    for name in ("GCC", "libstdc++", "libgcc"):
        if gcc:
            versions[name] = gcc
    boost = pathlib.Path(build, "boost-headers/boost/version.hpp").read_text(encoding="utf-8")
    versions["Boost"] = re.search(r'BOOST_LIB_VERSION "([\d_]+)"', boost)[1].replace("_", ".")
    if platform == "linux":
        versions["glibc"] = output("getconf", "GNU_LIBC_VERSION").split()[1]
    for name, version in versions.items():
        listed = packages[name]["versionInfo"]
        # Boost says nothing of a patch of 0 there.
        expect(f"{name} is {version}, not {listed}", listed in (version, f"{version}.0" if name == "Boost" else version))
    for text in wrong:
        print("not so:", text)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
