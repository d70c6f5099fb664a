"""Turns paragraphs of vell.h into mdoc: every name in them gets the macro of its meaning."""
import re

from read_header import CODE_WIDTH

TEXT_WIDTH = 78


def escaped(text):
    """Text that no formatter changes: for a macro's argument or a line of code."""
    for character, escape in (("\\", "\\e"), ("-", "\\-"), ("'", "\\(aq"), ("`", "\\(ga"),
                              ("^", "\\(ha"), ("~", "\\(ti"), ('"', "\\(dq")):
        text = text.replace(character, escape)
    return text


def quoted(argument):
    return f'"{argument}"' if " " in argument else argument


def literal(lines):
    indent = " -offset 2n" if max(map(len, lines)) <= CODE_WIDTH else ""
    return [f".Bd -literal{indent}",
            *("\\&" * line.startswith(".") + escaped(line) for line in lines), ".Ed"]


def without_first_break(lines):
    return lines[1:] if lines[:1] == [".Pp"] else lines


class Writer:
    """Knows the names of the header, and which functions are on the page that it writes."""

    def __init__(self, header, own_functions):
        self.own = own_functions
        self.functions = {function.name for function in header.functions()}
        self.macros = {name: "Va" for name in header.variables()}
        for section in header.sections:
            for item in section.items:
                code = "\n".join(item.code)
                for names in re.findall(r"^(?:enum (\w+) \{|\} (\w+);|typedef .* (\w+);)", code,
                                        re.M):
                    self.macros["".join(names)] = "Vt"
                for names in re.findall(r"^#define (\w+)|^ *(vell_\w+) = |\{ (vell_\w+) = ", code,
                                        re.M):
                    self.macros["".join(names)] = "Dv"

    def paragraphs(self, paragraphs):
        lines = []
        for paragraph in paragraphs:
            if paragraph.drawing:
                lines += literal(paragraph.drawing)
            else:
                lines += [".Pp", *self.prose(paragraph.text)]
        return lines

    def prose(self, text):
        """Lines of at most TEXT_WIDTH; a macro and a new sentence begin a line."""
        lines, line = [], ""
        for word in re.findall(r"(?:enum|struct) \w+\S*|[^\s`]*`[^`]*`[^\s`]*|\S+", text):
            macro = self.macro_line(word)
            if macro or len(line) + 1 + len(word) > TEXT_WIDTH:
                lines.append(line)
                line = ""
            if macro:
                lines.append(macro)
                continue
            word = re.sub(r"^-(?=\d)", r"\\-", word.replace("^", "\\(ha"))
            line += (" " if line else "") + word
            if re.search(r"[.!?][\")]*$", word):
                lines.append(line)
                line = ""
        return [line for line in [*lines, line] if line]

    def macro_line(self, word):
        """The macro for a word with the punctuation around it, or None."""
        opening, core, closing = re.fullmatch(r"(\(*)(.*?(?:_\.\.\.)?)([),.:;]*|'s)", word).groups()
        if closing.startswith(")") and "(" in core:  # a call
            core, closing = core + ")", closing[1:]
        macro = self.macro(core)
        if not macro:
            return None
        after = " Ns 's" if closing == "'s" else "".join(" " + c for c in closing)
        return f".{macro[:2]} " + "".join(c + " " for c in opening) + macro[3:] + after

    def macro(self, word):
        if word.startswith("`"):
            return "Fa " + escaped(word.strip("`"))
        name, argument = re.fullmatch(r"(.*?)(?:\((\w*)\))?", word).groups()
        if re.fullmatch(r"vell_\w*(<\w+>\w*|_\.\.\.\w*)", name):  # of a family
            return f"Fn {name} {argument or ''}".rstrip()
        if name in self.functions:
            return (f"Fn {name} {argument or ''}".rstrip() if name in self.own else f"Xr {name} 3")
        if re.fullmatch(r"(kyt|if_index)_\w+", name):  # of the platform
            return ("Vt " if name == "kyt_msg_ref" else "Fn ") + name
        if re.fullmatch(r"[\w/]+\.[ch]", name):
            return "Pa " + name
        known = re.sub(r"^(enum|struct) |\.\w+$", "", name)
        if known in self.macros:
            return f"{self.macros[known]} {quoted(name)}"
        if re.match(r"(vell|VELL)_", name):
            raise ValueError(f"vell.h mentions {name}, which it does not declare")
        return None
