"""Links a MinGW program or DLL without the functions that nothing in it calls: link_used_code.py LINK COMMAND ...

GNU ld's --gc-sections alone drops hardly any, because the entries of the unwind table point at all functions, and its
linker script keeps every entry. This one keeps the entries of used functions alone. Which those are is found by linking
until no more are added: a function's unwind entry may lead to more functions, those that clean up after an exception.

Where such a link fails, the ordinary one takes its place, with a warning: the result is larger, but as good.
"""

import os
import re
import subprocess
import sys
import tempfile

MAX_PASSES = 10
# Beside each function's section ".text<suffix>" lie ".pdata<suffix>", its entry in the unwind table, and ".xdata<suffix>".
CODE, UNWIND = ".text", (".pdata", ".xdata")


def linker_script(compiler: str) -> str:
    linker = subprocess.run([compiler, "-print-prog-name=ld"], check=True, capture_output=True, text=True).stdout.strip()
    text = subprocess.run([linker, "--verbose"], check=True, capture_output=True, text=True).stdout
    return text.split("=" * 50)[1].strip("=\n")


def keep_unwind_entries(script: str, suffixes: set[str]) -> str:
    """The script with the entries of these functions, and of those in sections that several share, alone."""
    for section in UNWIND:
        whole = f"KEEP(*({section}*))"
        if whole not in script:
            raise RuntimeError(f"the linker's script has no {whole}")
        kept = "\n".join([f"KEEP(*({section}))"] + [f'KEEP(*("{section}{suffix}"))' for suffix in sorted(suffixes)])
        script = script.replace(whole, kept)
    dropped = " ".join(f"*({section}$*) *({section}.*)" for section in UNWIND)
    return re.sub(r"/DISCARD/\s*:\s*\{", lambda found: f"{found.group()} {dropped}", script, count=1)


def used_code(map_text: str) -> set[str]:
    """The suffixes of the code sections that a link kept: those that the map gives an address."""
    memory = map_text[map_text.index("Linker script and memory map"):]
    sections = re.findall(rf"^ {re.escape(CODE)}([$.]\S+)\s+0x([0-9a-f]+)", memory, re.MULTILINE)
    return {suffix for suffix, address in sections if int(address, 16) != 0}


def link(command: list[str], output: int, script: str, folder: str, result: str, options: list[str]) -> str:
    """Links and gives the map. Raises CalledProcessError when the linker fails."""
    script_file, map_file = os.path.join(folder, "script"), os.path.join(folder, "map")
    with open(script_file, "w", encoding="utf-8") as file:
        file.write(script)
    arguments = [*command[:output], result, *command[output + 1:], *options, f"-Wl,-T,{script_file}", f"-Wl,-Map,{map_file}"]
    subprocess.run(arguments, check=True, capture_output=True, text=True)
    with open(map_file, encoding="utf-8", errors="replace") as file:
        return file.read()


def link_used_code(command: list[str]) -> None:
    output = command.index("-o") + 1
    script = linker_script(command[0])
    used: set[str] = set()
    with tempfile.TemporaryDirectory() as folder:
        for _ in range(MAX_PASSES):
            # What this pass makes is not used, and the first one finds references to what it leaves out.
            trial = keep_unwind_entries(script, used)
            found = used_code(link(command, output, trial, folder, os.path.join(folder, "trial"),
                                   ["-Wl,-s", "-Wl,--noinhibit-exec"]))
            if found <= used:
                break
            used |= found
        else:
            raise RuntimeError("the used functions were not found")
        link(command, output, keep_unwind_entries(script, used), folder, command[output], [])


def main() -> int:
    command = sys.argv[1:]
    try:
        link_used_code(command)
        return 0
    except (RuntimeError, ValueError, OSError, subprocess.CalledProcessError) as error:
        details = getattr(error, "stderr", None) or str(error)
        status = subprocess.run(command).returncode
        if status == 0:
            print(f"warning: linked with unused code: {details[:500]}", file=sys.stderr)
        return status


if __name__ == "__main__":
    sys.exit(main())
