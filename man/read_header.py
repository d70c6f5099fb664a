"""Reads vell.h: its conventions and its sections, each with its comments and what they describe."""
import collections
import re
import textwrap

# A paragraph is text, or a drawing: indented lines, to be shown as they are.
Paragraph = collections.namedtuple("Paragraph", "text drawing")
Function = collections.namedtuple("Function", "result name arguments")

CODE_WIDTH = 73  # of declarations and drawings on an 80-column page


class Item:
    """A comment and the declarations below it."""

    def __init__(self, paragraphs):
        self.paragraphs = paragraphs
        self.functions = []
        self.variables = []  # as they are declared
        self.code = []  # the lines of all other declarations

    def text(self):
        return " ".join(paragraph.text for paragraph in self.paragraphs)


class Section(collections.namedtuple("Section", "title paragraphs items")):
    def variables(self):
        return [re.search(r"(\w+)(\[.*)?$", variable)[1]
                for item in self.items for variable in item.variables]


class Header:
    def __init__(self, text):
        self.macros = {}
        for name, parameters, body in re.findall(
                r"^#define (\w+)(?:\(([^)]*)\))?((?:.*\\\n)*.*)", text, re.M):
            self.macros[name] = (parameters.split(", "), body.replace("\\\n", "\n"))
        self.dropped = set(re.findall(r"^#undef (\w+)", text, re.M))
        first, *sections = re.split(r"^/\* -{90,}\n", text, flags=re.M)
        self.introduction, self.conventions = self.read_first_comment(first)
        self.sections = [self.read_section(section) for section in sections]

    def functions(self):
        return [f for section in self.sections for item in section.items for f in item.functions]

    def variables(self):
        return [name for section in self.sections for name in section.variables()]

    @staticmethod
    def read_first_comment(text):
        """The paragraphs before CONVENTIONS, and those of each convention by its name."""
        introduction, conventions, name = [], {}, None
        for paragraph in paragraphs_of(text[:text.index("*/")]):
            start = re.match(r"([A-Z][\w' ]{2,30}): ", paragraph.text)
            if name is None and paragraph.text != "CONVENTIONS":
                introduction.append(paragraph)
            elif paragraph.text == "CONVENTIONS":
                name = ""
            elif start:
                name = start[1]
                text = paragraph.text[start.end():]
                conventions[name] = [Paragraph(text[0].upper() + text[1:], None)]
            else:
                conventions[name].append(paragraph)
        return introduction, conventions

    def read_section(self, text):
        banner, body = re.split(r"-{80,} \*/\n", text, maxsplit=1)
        title, *paragraphs = paragraphs_of(banner)
        body = body.split("#ifdef __cplusplus")[0]
        items = []
        for comment, code in re.findall(r"^/\*(.*?)\*/\n(.*?)(?=^/\*|\Z)", body, re.M | re.S):
            item = Item(paragraphs_of(comment))
            for statement in self.statements(code):
                self.add(item, statement)
            items.append(item)
        return Section(title.text, paragraphs, items)

    def statements(self, code):
        """Declarations with the comment after them, macros that remain, and tables written out."""
        for name in self.dropped:
            code = re.sub(r"^#(define|undef) %s\b(.*\\\n)*.*\n" % name, "", code, flags=re.M)
        code = re.sub(r"(?<!define )\b(VELL_\w+_TABLE)\(([\w, ]+)\)", self.table, code)
        found, depth, ended = [], 0, True
        for line in code.splitlines():
            if ended:
                found.append("")
            found[-1] += line + "\n"
            bare = re.sub(r"/\*.*?\*/", "", line)
            depth += bare.count("{") - bare.count("}")
            ended = depth == 0 and (line == "" or bare.rstrip().endswith(";") or
                                    found[-1].startswith("#") and not line.endswith("\\"))
        return [statement.strip("\n") for statement in found if statement.strip()]

    def table(self, use):
        parameters, body = self.macros[use[1]]
        row_macros = dict(zip(parameters, use[2].split(", ")))

        def row(match):
            names, text = self.macros[row_macros[match[1]]]
            for name, value in zip(names, match[2].split(", ")):
                text = re.sub(r"\b%s\b" % name, value, text)
            return text.replace("##", "").strip().replace("; ", ";\n") + "\n"
        rows = re.sub(r"\s*(\w+)\((.*?)\)\s*", row, body)
        if use.string[:use.start()].endswith("{ "):  # the values of an enum
            rows = "\n" + textwrap.indent(rows, "    ").rstrip(",\n") + "\n"
        return rows

    @staticmethod
    def add(item, statement):
        flat = " ".join(statement.split())
        function = re.fullmatch(r"VELL_API (?!extern)(.*?)(\w+)\((.*)\);", flat)
        if function:
            item.functions.append(Function(function[1].strip(), function[2],
                                           function[3].split(", ")))
        elif flat.startswith("VELL_API extern "):
            item.variables.append(flat[len("VELL_API extern "):-1])
            item.code.append(flat[len("VELL_API "):])
        else:
            lines = fitted(statement)
            if item.code and (len(lines) > 1 or item.code[-1].startswith("}")):
                item.code.append("")
            item.code += lines


def paragraphs_of(comment):
    """The paragraphs of a comment: its lines without the stars, joined."""
    lines = [re.sub(r"^ ?\* ?| *\*/$", "", line.strip("\n")).rstrip()
             for line in re.sub(r"^/\*+ ?|\*/ *$", "", comment.strip("\n")).splitlines()]
    found = []
    for block in re.split(r"\n\s*\n", "\n".join(lines).strip("\n")):
        if not block.strip():
            continue
        if all(re.match(r"    |  ?\d+ ", line) for line in block.splitlines()):
            found.append(Paragraph("", textwrap.dedent(block).splitlines()))
        else:
            found.append(Paragraph(" ".join(block.split()), None))
    return found


def fitted(statement):
    """The lines of a declaration in CODE_WIDTH columns, its comments aligned after the code."""
    statement = statement.replace("\n };", "\n};")
    statement = re.sub(r" +\\$", r" \\", statement.replace("VELL_RECORD ", ""), flags=re.M)
    one_line = re.fullmatch(r"(.*\{) (.*) (\};.*)", statement)
    if one_line and len(statement) > CODE_WIDTH:
        values = one_line[2].split(", ")
        statement = "\n".join([one_line[1], *(f"    {v}," for v in values[:-1]),
                               f"    {values[-1]}", one_line[3]])
    rows = [re.fullmatch(r"(.*?)(?:\s*/\* (.*) \*/)?", line).groups()
            for line in statement.splitlines()]
    column = max((len(code) for code, comment in rows if comment and code[-1] != "{"),
                 default=0) + 2
    lines = []
    for code, comment in rows:
        if not comment or code.endswith("{"):
            lines.append(f"{code} /* {comment} */" if comment else code.rstrip())
            continue
        wrapped = textwrap.wrap(comment, CODE_WIDTH - column - 6)
        for i, part in enumerate(wrapped):
            start = code.ljust(column) + "/* " if i == 0 else " " * column + " * "
            lines.append(start + part + (" */" if i == len(wrapped) - 1 else ""))
    return lines
