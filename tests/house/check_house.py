#!/usr/bin/env python3
"""The fences of the house that the compiler does not see.

usage: check_house.py ROOT        looks at the tree; one line for each fence that was climbed, and status 1
       check_house.py --self-test looks at small trees that each climb one fence: each must be seen
"""
import pathlib
import re
import sys
import tempfile

CODE = ["platform", "statemachines", "src", "simulation", "tools", "bench", "fuzz", "tests"]
COMPONENTS = "src/components/"
# The arbiter is told limits by what the application root hands to each limiting component.
ARBITER = "currentlimiter"

LINES = [  # (where, where not, what must not stand there, why)
    (CODE, ["platform/rpc", "bench/bareroundtrip_bench.cpp"], r'#\s*include\s*[<"]grpc',
     "only platform/rpc includes gRPC headers"),
    (["statemachines", "src"], [], r'#\s*include\s*<(curl|modbus|avahi-)',
     "only platform reaches meters: what is above it knows interfaces"),
    (["src", "statemachines"], [],
     r"_clock::now\b|\bsleep_(for|until)\b|\bu?sleep\(|\bnanosleep\b|\bclock_gettime\b|\bgettimeofday\b|\btime\((nullptr|NULL|0)\)",
     "time is handed in: only platform reads clocks and sleeps"),
    (["src", "statemachines"], [], r"\bstd::j?thread\b(?!::id)|\bstd::async\b|\bpthread_create\b",
     "only platform starts threads"),
    (CODE, [], r'#\s*include\s*[<"]\.\.?/', "an include is written from the project root"),
]


def within(name, folders):
    return any(name == folder or name.startswith(folder + "/") for folder in folders)


def uncommented(text):
    """The text without its comments, every line where it was."""
    return re.sub(r"//[^\n]*|/\*.*?\*/", lambda comment: "\n" * comment[0].count("\n"), text, flags=re.S)


def forbidden_lines(name, text):
    for folders, exempt, pattern, reason in LINES:
        if within(name, folders) and not within(name, exempt):
            for match in re.finditer(pattern, text):
                yield name, text.count("\n", 0, match.start()) + 1, f"{match[0].strip()}: {reason}"


def component(name):
    """Which component a file of src/components belongs to: its folder's name, or its own without the ending."""
    return name.removeprefix(COMPONENTS).split("/")[0].split(".")[0]


def limiting_components(files):
    return {component(name) for name, text in files.items()
            if name.startswith(COMPONENTS) and re.search(r"\bpublic I(Limiter|ChargeControl)\b", text)}


def components_apart(name, text, limiting):
    if not name.startswith(COMPONENTS) or component(name) not in limiting:
        return
    for match in re.finditer(r'#\s*include\s*"(src/components/[^"]+)"', text):
        if component(match[1]) in (limiting | {ARBITER}) - {component(name)}:
            line = text.count("\n", 0, match.start()) + 1
            yield name, line, f"{match[1]}: what a limiting component needs of another is handed in as a callable"


def built_by_no_target(root, name):
    folders = [folder for folder in (root / name).parents if folder == root or root in folder.parents]
    lists = [file for folder in folders for file in (folder / "CMakeLists.txt", folder / "sources.cmake") if file.is_file()]
    mentioned = re.compile(rf"(?<![\w.]){re.escape(pathlib.Path(name).name)}(?![\w.])")
    # What several folders share is named by its path from the project root.
    anywhere = [file for folder in CODE for file in (root / folder).rglob("CMakeLists.txt")]
    if (not any(mentioned.search(file.read_text()) for file in lists)
            and not any(f"${{CMAKE_SOURCE_DIR}}/{name}" in file.read_text() for file in anywhere)):
        yield name, 1, "no target builds this file"


def climbed(root):
    files = {file.relative_to(root).as_posix(): uncommented(file.read_text())
             for folder in CODE for file in sorted((root / folder).rglob("*")) if file.suffix in (".h", ".cpp")}
    limiting = limiting_components(files)
    for name, text in files.items():
        yield from forbidden_lines(name, text)
        yield from components_apart(name, text, limiting)
        if name.endswith(".cpp"):
            yield from built_by_no_target(root, name)


LIMITER = "class C : public ILimiter {};\n"


def self_test():
    """Each snippet climbs as many fences as stand beside it."""
    snippets = [
        (1, "src/components/a.h", "#include <grpcpp/grpcpp.h>\n"),
        (1, "simulation/a.h", '#include "grpc/grpc.h"\n'),
        (0, "platform/rpc/a.h", "#include <grpcpp/grpcpp.h>\n"),
        (1, "src/components/a.h", "#include <modbus/modbus.h>\n"),
        (2, "src/a.h", "auto a = std::chrono::steady_clock::now();\nvoid B() { std::this_thread::sleep_for(a); }\n"),
        (0, "platform/a.h", "auto a = std::chrono::steady_clock::now(); std::thread t;\n"),
        (1, "statemachines/a.h", "std::thread t;\n"),
        (0, "src/a.h", "// std::thread t;\n/* sleep_for\n */ std::thread::id mOwner;\n"),
        (1, "tools/a.h", '#include "../src/a.h"\n'),
        (1, "src/components/a.h", LIMITER + '#include "src/components/b.h"\n'),
        (1, "src/components/a/c.h", LIMITER + '#include "src/components/a/d.h"\n#include "src/components/b/b.h"\n'),
        (1, "src/components/a.h", LIMITER + '#include "src/components/currentlimiter.h"\n'),
        (0, "src/components/a.h", LIMITER + '#include "src/components/limiter.h"\n'),
        (0, "src/components/a.h", '#include "src/components/b.h"\n'),
        (1, "tests/orphan_test.cpp", ""),
        (0, "tests/shared.cpp", ""),
        (0, "tests/a.cpp", ""),
    ]
    failed = 0
    for expected, name, text in snippets:
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            (root / name).parent.mkdir(parents=True)
            (root / name).write_text(text)
            (root / "src/components").mkdir(parents=True, exist_ok=True)
            (root / "src/components/b.h").write_text(LIMITER)
            (root / "bench").mkdir(exist_ok=True)
            (root / "bench/CMakeLists.txt").write_text("add_library(b ${CMAKE_SOURCE_DIR}/tests/shared.cpp orphan_test.cpp)\n")
            (root / "CMakeLists.txt").write_text("add_library(a a.cpp notan_orphan_test.cpp)\n")
            seen = list(climbed(root))
        if len(seen) != expected:
            failed += 1
            print(f"{name}: {expected} expected, seen: {seen}\n{text}")
    print(f"{len(snippets) - failed} of {len(snippets)} snippets judged rightly")
    return failed


def main():
    if sys.argv[1:] == ["--self-test"]:
        sys.exit(1 if self_test() else 0)
    if len(sys.argv) != 2 or not (pathlib.Path(sys.argv[1]) / "src").is_dir():
        sys.exit(__doc__)
    found = list(climbed(pathlib.Path(sys.argv[1])))
    for name, line, what in found:
        print(f"{name}:{line}: {what}")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
