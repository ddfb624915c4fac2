"""Runs the commands in the console blocks of a page in the current directory and writes their output below them."""
import pathlib
import re
import subprocess
import sys


def filled(block):
    lines = []
    for command in re.findall(r"^\$ (.*)$", block.group(1), re.MULTILINE):
        run = subprocess.run(["bash", "-c", command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        lines += [f"$ {command}", run.stdout.rstrip("\n")]
    return "```console\n" + "\n".join(line for line in lines if line) + "\n```"


page = pathlib.Path(sys.argv[1])
page.write_text(re.sub(r"```console\n(.*?)\n```", filled, page.read_text(), flags=re.DOTALL))
