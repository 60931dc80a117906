"""Makes the report's page, with library, style and script in it, and writes it as C++ source text.

usage: embed.py REPORT_FOLDER OUTPUT
"""

import json
import pathlib
import sys

PIECE = 8000  # characters; compilers need not take string literals of any length
DELIMITER = "page"


def read(path):
    return path.read_text(encoding="utf-8").strip()


def make_page(folder):
    library = folder / "node_modules" / "uplot"
    script, style = read(library / "dist" / "uPlot.iife.min.js"), read(library / "dist" / "uPlot.min.css")
    licence = read(library / "LICENSE").replace("&", "&amp;").replace("<", "&lt;")
    page = read(folder / "page.html") + "\n"
    for name, text in {
        "LIBRARY_STYLE": style,
        "PAGE_STYLE": read(folder / "page.css"),
        "LIBRARY_VERSION": json.loads(read(library / "package.json"))["version"],
        "LIBRARY_LICENCE": licence,
        "LIBRARY_SCRIPT": script,
        "PAGE_SCRIPT": "\n\n".join(read(folder / name) for name in ("page.js", "station.js", "group.js")),
    }.items():
        if page.count(f"@{name}@") != 1:
            sys.exit(f"embed.py: page.html must hold @{name}@ once")
        if "</script" in text or "</style" in text:
            sys.exit(f"embed.py: {name} would end the element that it stands in")
        page = page.replace(f"@{name}@", text)
    return page


def pieces(name, text):
    literals = [f'R"{DELIMITER}({text[i:i + PIECE]}){DELIMITER}"' for i in range(0, len(text), PIECE)]
    return (f"constexpr std::array<std::string_view, {len(literals)}> {name}{{\n"
            + ",\n".join(literals) + "};\n")


def main():
    folder, output = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    page = make_page(folder)
    if f"){DELIMITER}\"" in page:
        sys.exit("embed.py: the page holds what ends a string literal")
    head, tail = page.split("@REPORT@")
    output.write_text(
        '#include "tools/currentcontrolsim/reportpage.h"\n\n#include <array>\n\nnamespace {\n\n'
        + pieces("kHead", head) + "\n" + pieces("kTail", tail)
        + "\n}  // namespace\n\n"
        "std::span<const std::string_view> ReportPage::Head() {\n  return kHead;\n}\n\n"
        "std::span<const std::string_view> ReportPage::Tail() {\n  return kTail;\n}\n",
        encoding="utf-8")


main()
