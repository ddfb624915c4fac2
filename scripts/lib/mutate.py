#!/usr/bin/env python3
"""mutate.py TREE BUILD COUNT SEED: changes the copy TREE of the project in COUNT places, one at a time, and prints whether
a test fails. TREE is configured and built in BUILD. Both are unchanged afterwards.
mutate.py judge LOG: prints the figures of such a run, the survivors and their verdicts."""
import random
import re
import resource
import subprocess
import sys
from pathlib import Path

# The test programs of each folder. The first one that fails catches the mutant, so the folder's own comes first. A
# subfolder precedes its parent.
PROGRAMS = {
    "plugin/interfaces": ["engine", "host", "store", "plugin"],
    "host/documents": ["host", "module"],
    "mp4": ["mp4", "convert"],
    "ps": ["ps", "convert"],
    "convert": ["convert", "host"],
    "engine": ["engine", "module"],
    "store": ["store", "module"],
    "xml": ["xml", "host", "store", "plugin"],
    "host": ["host", "module"],
    "plugin": ["plugin", "module"],
    "platform": ["platform", "ps", "convert", "store", "host", "plugin"],
}
ONLY_TOOLS = ("process", "edited_file", "flushed_files", "terminal")  # of platform/; the tests of the module do not link them
MAX_RUN = 120  # seconds; a mutant that hangs counts as caught
MAX_MEMORY = 4 << 30

TOKENS = [  # a pattern outside of texts and comments, and its replacement
    (r" < ", " <= "), (r" <= ", " < "), (r" > ", " >= "), (r" >= ", " > "), (r" == ", " != "), (r" != ", " == "),
    (r" \+ ", " - "), (r" - ", " + "), (r" \* ", " + "), (r" / ", " * "), (r" % ", " / "), (r" \+= ", " -= "),
    (r"\+\+(?=\w)", "--"), (r"--(?=\w)", "++"), (r" << ", " >> "), (r" >> ", " << "), (r" & ", " | "),
    (r" && ", " || "), (r" \|\| ", " && "), (r"\(!", "("), (r"\btrue\b", "false"), (r"\bfalse\b", "true"),
    (r"std::min\b", "std::max"), (r"std::max\b", "std::min"),
]
NUMBER = re.compile(r"(?<![\w'.])(0x[0-9A-Fa-f]+|0(?!\d)|[1-9]\d*)(?=[UL]*\b)(?!['.\w]*')")
TEXT = re.compile(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)*\'')
NO_CODE = re.compile(r"^\s*(#|static_assert|using|template|namespace|\[\[nodiscard|virtual)|= (default|delete);")
# Nearly every member default is overwritten before it is read, so changing it proves nothing.
DEFAULT = re.compile(r"^\s+(?!.*\b(constexpr|const|return)\b)[\w:]+(<.*>)? \w+ = [\w:]+;")
CALL = re.compile(r"^\s+(?!return|throw|delete|using|case|else|auto|const)[\w:.>*()-]+(?:\(.*\)| = .*);$")
GUARD = re.compile(r"^\s+if \(.*\) (return|throw|break|continue)\b.*;$")


def code_of(line):
    """The line without its comment and with texts blanked. Columns are unchanged."""
    blank = TEXT.sub(lambda text: '"' + " " * (len(text.group()) - 2) + '"', line)
    if re.match(r"\s*(/\*|\*[ /]|\*$)", blank):  # a C comment or one of its lines
        return ""
    return re.split(r"//|/\*", blank)[0]


def changes_of(lines, at, header):
    line, code = lines[at], code_of(lines[at])
    if NO_CODE.search(code) or not code.strip() or header and DEFAULT.match(code):
        return
    for pattern, other in TOKENS:
        for match in re.finditer(pattern, code):
            yield {at: line[: match.start()] + other + line[match.end():]}
    for match in NUMBER.finditer(code):
        number = int(match.group(1), 0) + 1
        yield {at: line[: match.start()] + str(number) + line[match.end():]}
    for match in TEXT.finditer(line.split("//")[0]):
        if len(match.group()) > 3:
            yield {at: line[: match.end() - 2] + "~" + line[match.end() - 1:]}
    if GUARD.match(code):
        yield {at: ""}
    if CALL.match(code):
        yield {at: ""}
        # The order of plain assignments and of record fields does not matter.
        if at + 1 < len(lines) and all(CALL.match(each) and not re.search(r" = |\bput\b", each)
                                       for each in (code, code_of(lines[at + 1]))):
            yield {at: lines[at + 1], at + 1: line}


def folder_of(tree, path):
    name = path.relative_to(tree).as_posix()
    return next(folder for folder in PROGRAMS if name.startswith(folder + "/"))


def all_changes(tree):
    for folder in sorted({folder.split("/")[0] for folder in PROGRAMS}):
        for path in sorted((tree / folder).rglob("*")):
            if path.suffix not in (".cpp", ".h") or "win" in path.stem.split("_") or path.stem.startswith(ONLY_TOOLS):
                continue
            lines = path.read_text().split("\n")
            for at in range(len(lines)):
                for change in changes_of(lines, at, path.suffix == ".h"):
                    yield path, change


def limits():
    resource.setrlimit(resource.RLIMIT_AS, (MAX_MEMORY, MAX_MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def passes(build, program):
    """None if it does not compile."""
    targets = [f"test_{program}", "norvanepi"]
    made = subprocess.run(["cmake", "--build", build, "--target", *targets], capture_output=True)
    if made.returncode != 0:
        return None
    try:
        run = [build / "tests" / ("plugin" if program == "module" else program) / f"test_{program}"]
        return subprocess.run([*run, "--gtest_brief=1", "--gtest_fail_fast", "--gtest_filter=-RealClips*"],
                              capture_output=True, timeout=MAX_RUN, preexec_fn=limits).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def outcome(tree, build, path, change):
    """Returns "caught", "survived", or None if the mutant does not compile."""
    before = path.read_text()
    lines = before.split("\n")
    for at, line in change.items():
        lines[at] = line
    path.write_text("\n".join(lines))
    try:
        for program in PROGRAMS[folder_of(tree, path)]:
            passed = passes(build, program)
            if not passed:
                return None if passed is None else "caught"
        return "survived"
    finally:
        path.write_text(before)


def shown(tree, path, change):
    lines = path.read_text().split("\n")
    was = " / ".join(lines[at].strip() for at in change)
    now = " / ".join(line.strip() for line in change.values()) or "(nothing)"
    return f"{path.relative_to(tree)}:{min(change) + 1}: {was}  ->  {now}"


def run_mutants(tree, build, count, seed):
    for program in sorted({program for programs in PROGRAMS.values() for program in programs}):
        if not passes(build, program):
            sys.exit(f"test_{program} fails without any mutant")
    changes = list(all_changes(tree))
    random.Random(seed).shuffle(changes)
    tried = 0
    for path, change in changes:
        if tried == count:
            break
        result = outcome(tree, build, path, change)
        print(f"{result or 'not compiled'}\t{shown(tree, path, change)}", flush=True)
        tried += result is not None


def judge(log):
    """Prints the figures of a run's log. Survivors judged equivalent are listed but not counted."""
    here = Path(__file__).with_name("mutants_judged.txt")
    judged = dict(line.split("\t") for line in here.read_text().splitlines())
    results = [line.split("\t", 1) for line in Path(log).read_text().splitlines()]
    caught = sum(result == "caught" for result, _ in results)
    survivors = [text for result, text in results if result == "survived"]
    verdicts = {text: judged.get(re.sub(":[0-9]+:", ":", text, count=1), "not judged yet") for text in survivors}
    same = sum(verdict.startswith("equivalent") for verdict in verdicts.values())
    tried = caught + len(survivors)
    share = 100 * caught / max(1, tried - same)
    print(f"{tried} mutants, {caught} caught ({100 * caught / max(1, tried):.1f} %); {same} of {len(survivors)} survivors are "
          f"equivalent: {share:.1f} % of the others caught")
    for survivor in survivors:
        print(f"  {survivor}\n      {verdicts[survivor]}")
    return 0 if tried > 0 and share >= 90 else 1


if sys.argv[1] == "judge":
    sys.exit(judge(sys.argv[2]))
run_mutants(Path(sys.argv[1]), Path(sys.argv[2]), int(sys.argv[3]), int(sys.argv[4]))
