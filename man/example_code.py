"""Takes functions out of C sources, with lines that fit a manual page."""
import re
import textwrap

WIDTH = 75  # with the margin of five columns, 80


def function(source, name):
    """The lines of a function with the comment above it, or None."""
    found = re.search(r"(?:^/\*(?:(?!\*/).)*\*/\n)?^[\w *]*?\b%s\([^;{]*\{.*?^\}\n" % name, source,
                      re.M | re.S)
    return found and narrowed(found[0].splitlines())


def narrowed(lines):
    """Comments and statements with a line over WIDTH are broken again; the others remain."""
    result, part = [], []
    for line in lines:
        part.append(line)
        text = " ".join(part)
        if "/*" in line and "*/" not in line or not is_complete(text):
            continue
        if max(map(len, part)) > WIDTH:
            part = broken(part)
        result += part
        part = []
    return result + part


def is_complete(text):
    bare = re.sub(r'"(\\.|[^"\\])*"', '""', text)
    if bare.count("/*") > bare.count("*/"):
        return False
    bare = re.sub(r"/\*.*?\*/", "", bare)
    return bare.count("(") == bare.count(")") and (
        not bare.strip() or bare.rstrip()[-1] in ";{}):" or bare.rstrip().endswith("else"))


def broken(lines):
    """A statement or comment in lines of WIDTH. Comments beside code go above it."""
    indent = re.match(" *", lines[0])[0]
    text = " ".join(re.sub(r"^ *\* (?=\S)", "", line).strip() for line in lines)
    result = []
    for comment in re.findall(r"/\*.*?\*/", text):
        wrapped = textwrap.wrap(comment.replace(" */", "\0*/"), WIDTH, initial_indent=indent,
                                subsequent_indent=indent + " * ")
        result += [line.replace("\0", " ") for line in wrapped]
    code = " ".join(re.sub(r"/\*.*?\*/", "", text).split())
    return result + (broken_code(code, indent) if code else [])


def broken_code(code, indent):
    """A break goes after a comma or an assignment, before an operator, or around a string."""
    further = indent + " " * 8
    if len(indent + code) <= WIDTH:
        return [indent + code]
    assignment = re.match(r"(\w[^=()]*[^=!<>]=) (.*)", code)
    if assignment and len(indent + assignment[1]) <= WIDTH >= len(further + assignment[2]):
        return [indent + assignment[1], further + assignment[2]]
    pieces = re.findall(r'(?:"(?:\\.|[^"\\])*"|[^"])+?'
                        r'(?:, |= |\((?=")|(?= (?:&&|\|\||[?:+]|") )|(?= ")|$)', code)
    lines = [indent]
    for piece in pieces:
        if len((lines[-1] + piece).rstrip()) > WIDTH and lines[-1].strip():
            lines.append(further)
            piece = piece.lstrip()
        lines[-1] += piece
    return [line.rstrip() for line in lines]
