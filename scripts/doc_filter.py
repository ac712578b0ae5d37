#!/usr/bin/env python3
"""Prints a public header with its comments in Doxygen's markup. In the headers they are plain text.

usage: doc_filter.py HEADER

In a comment of /// lines
  - deeper lines that follow a sentence are formulas or small tables: their lines and columns are kept;
  - a line that begins with names and a colon ("src, dst: ...") begins a paragraph, and deeper lines
    belong to it;
  - a list ("  - ...") may follow a paragraph without an empty line.
Lines are neither added nor removed, so that Doxygen's messages name the header's own.
"""
import re
import sys

COMMENT = re.compile(r"^(\s*///) ?(.*)$")
# Names of parameters, or the word that opens a paragraph of a contract; at a line's start, or behind a sentence.
NAMES = r"((?:[a-z_]\w*(?:, )?)+|[A-Z][\w-]+|Scratch memory)"
LABEL = re.compile(rf"^{NAMES}: ")
LATER_LABEL = re.compile(rf"(?<=[.;] ){NAMES}: ")


# Characters that Doxygen takes for markup inside <pre>.
ESCAPED = re.compile(r"[<>&@\\#%\"]")


def escape(match):
    return {"<": "&lt;", ">": "&gt;", "&": "&amp;"}.get(match.group(), "\\" + match.group())


def indent_of(text):
    return len(text) - len(text.lstrip(" "))


def formula_end(lines, start):
    """The first line from `start` on that is no longer deeper than the text around it."""
    end = start
    while end < len(lines) and lines[end].strip() and indent_of(lines[end]) >= 2:
        end += 1
    return end


def block(lines):
    """Converts the lines of one comment."""
    result = []
    inside = False  # a labelled paragraph or a list, which deeper lines belong to
    number = 0
    while number < len(lines):
        text = lines[number]
        deeper = indent_of(text) >= 2 and text.strip()
        if deeper and re.match(r"\s*- ", text):
            inside = True
        elif deeper and not inside:
            end = formula_end(lines, number)
            formulas = [line.rstrip()[2:] for line in lines[number:end]]
            formulas = [ESCAPED.sub(escape, line) for line in formulas]
            formulas[0] = "<pre>" + formulas[0]
            formulas[-1] += "</pre>"
            result += formulas
            number = end
            continue
        elif not deeper:
            inside = False
            # A word and a colon in the middle of a sentence are part of it.
            before = lines[number - 1].strip() if number > 0 else ""
            label = LABEL.match(text) if before[-1:] in ("", ".", ":", ";") else None
            if label:
                inside = True
                # The first line stays the brief that lists show.
                paragraph = "<p>" if number > 0 else ""
                text = f"{paragraph}<b>{label.group(1)}:</b> {text[label.end():]}"
        result.append(LATER_LABEL.sub(r"<b>\1:</b> ", text))
        number += 1
    return result


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        source = file.read().splitlines()
    number = 0
    while number < len(source):
        match = COMMENT.match(source[number])
        if not match:
            print(source[number])
            number += 1
            continue
        prefix = match.group(1)
        texts = []
        while number < len(source) and (match := COMMENT.match(source[number])):
            texts.append(match.group(2))
            number += 1
        for text in block(texts):
            print(f"{prefix} {text}".rstrip())


if __name__ == "__main__":
    main()
