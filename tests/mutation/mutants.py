"""Every change of one thing in a source that a test should notice.

Works on tokens: comments, directives, static assertions, attributes and template heads are left
alone. It relies on the format that clang-format makes: a binary operator has a space on each side.
"""
import re
from collections import Counter
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<space>(?:\s|\\\n)+)|(?P<comment>//[^\n]*|/\*.*?\*/)
    |(?P<string>"(?:\\.|[^"\\\n])*")|(?P<char>'(?:\\.|[^'\\\n])+')
    |(?P<number>\d\w*)|(?P<name>[A-Za-z_]\w*)
    |(?P<op><<=|>>=|->|::|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|\#\#|.)""",
    re.S | re.X)
STRING_PART = re.compile(r"%\w|\\.|.")
LOG_PREFIX = re.compile(r'"(?:%s\(%d\):(?:ERROR: |TRACE: )?)?')

BINARY = {
    "==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="],
    ">=": [">", "<"], "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["/"],
    "/": ["*"], "%": ["/"], "<<": [">>"], ">>": ["<<"], "&": ["|"], "|": ["&"],
    "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "|=": ["&="], "&=": ["|="],
}
UNARY = {"++": "--", "--": "++", "!": "", "-": ""}
NAMES = {
    "true": "false", "false": "true", "size_t": "uint16_t", "uint64_t": "uint32_t",
    "uint32_t": "uint16_t", "uint16_t": "uint8_t",
}
CONTROL = {"if", "for", "while", "switch", "constexpr", "catch"}
NO_STATEMENT = CONTROL | {
    "case", "default", "do", "else", "enum", "extern", "namespace", "private", "public", "struct",
    "template", "typedef", "union", "using",
}
DECLARATION = re.compile(
    r"(?:const|constexpr|static|auto|inline)\b"
    r"|(?!return\b)[\w:]+(?:<[^;=]*>)?(?:\s+|\s*[*&]+\s*)\w")


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Mutant:
    path: str
    start: int
    end: int
    new: str
    line: int
    change: str  # "before -> after", as it is shown and listed
    key: str  # what the mutant is listed by: its file, its line's text and the change

    def applied_to(self, source):
        return source[:self.start] + self.new + source[self.end:]


def closing(tokens, at):
    """The position of the bracket that closes the one at `at`."""
    pairs = {"(": ")", "{": "}", "[": "]", "<": ">"}
    opening, depth = tokens[at].text, 0
    for i in range(at, len(tokens)):
        depth += (tokens[i].text == opening) - (tokens[i].text == pairs[opening])
        if depth == 0:
            return i
    raise ValueError(f"unbalanced {opening}")


def opening(tokens, at):
    """The position of the parenthesis that the one at `at` closes."""
    depth = 0
    for i in range(at, -1, -1):
        depth += (tokens[i].text == ")") - (tokens[i].text == "(")
        if depth == 0:
            return i
    raise ValueError("unbalanced )")


def code(source):
    """The tokens that may be changed, with those between them that give them their place."""
    tokens = [Token(m.lastgroup, m.group(), m.start(), m.end()) for m in TOKEN.finditer(source)]
    tokens = [t for t in tokens if t.kind not in ("space", "comment")]
    kept, i = [], 0
    while i < len(tokens):
        text, following = tokens[i].text, tokens[i + 1].text if i + 1 < len(tokens) else ""
        if text == "#" and following == "define":
            i += 3  # its name; and its parameters
            if tokens[i].text == "(" and tokens[i].start == tokens[i - 1].end:
                i = closing(tokens, i) + 1
        elif text == "#":
            line_end = re.compile(r"(?<!\\)\n|\Z").search(source, tokens[i].start).start()
            while i < len(tokens) and tokens[i].start < line_end:
                i += 1
        elif text in ("static_assert", "asm"):
            i = closing(tokens, i + 1) + 2
        elif text in ("__attribute__", "template") or (text == "[" and following == "["):
            i = closing(tokens, i + (text != "[")) + 1
        elif text == "extern" and following.startswith('"'):
            i += 2
        else:
            kept.append(tokens[i])
            i += 1
    return kept


def changed_number(text):
    digits = text.rstrip("uUlL")
    value, suffix = int(digits, 0), text[len(digits):]
    after = hex(value + 1) if digits.startswith("0x") else str(value + 1)
    return [after + suffix] + (["0" + suffix] if value != 0 else [])


def changed_string(text):
    """Its first, middle and last character changed, after a log message's prefix; an escape at its
    end removed. Conversions stay."""
    prefix = LOG_PREFIX.match(text).end()
    parts = STRING_PART.findall(text[prefix:-1])
    places = [i for i, part in enumerate(parts) if not re.match(r"%\w", part)]
    for i in sorted({places[0], places[len(places) // 2], places[-1]} if places else ()):
        new = "" if parts[i].startswith("\\") else "y" if parts[i] == "x" else "x"
        yield text[:prefix] + "".join(parts[:i]) + new + "".join(parts[i + 1:]) + '"'


def simple_changes(source, tokens):
    """Changes of one token: (first token, last token, replacement)."""
    constant = False  # in the declaration of a constant, whose type does not matter
    for i, t in enumerate(tokens):
        constant = t.text == "constexpr" or constant and t.text not in "=;("
        after = []
        if t.kind == "number":
            after = changed_number(t.text)
        elif t.kind == "string":
            after = changed_string(t.text)
        elif t.kind == "char":
            after = ["'\\1'" if t.text == "'\\0'" else f"'{chr(ord(t.text[1]) + 1)}'"]
        elif t.text in ("true", "false") or t.text in NAMES and not constant:
            in_sizeof = source[:t.start].endswith("sizeof(std::")
            after = [] if in_sizeof else [NAMES[t.text]]
        elif t.text == "case":
            last = i + [token.text for token in tokens[i:]].index(":")
            yield t, tokens[last], ""
        elif t.text in ("sizeof", "offsetof") and tokens[i + 1].text == "(":
            last = closing(tokens, i + 1)
            whole = source[t.start:tokens[last].end]
            yield t, tokens[last], f"({whole} + 1)"
            yield t, tokens[last], f"({whole} - 1)"
        elif t.kind == "op":
            spaced = source[t.start - 1].isspace() and source[t.end:t.end + 1].isspace()
            after = BINARY.get(t.text, []) if spaced else [UNARY[t.text]] if t.text in UNARY else []
        for new in after:
            yield t, t, new


def condition_changes(source, tokens):
    """Conditions without a comparison, negated."""
    for i, t in enumerate(tokens):
        if t.text not in ("if", "while"):
            continue
        first = i + 1 + (tokens[i + 1].text == "constexpr")
        last = closing(tokens, first)
        inside = [token.text for token in tokens[first + 1:last]]
        condition = source[tokens[first].end:tokens[last].start]
        if "=" in inside:
            yield tokens[last], tokens[last], f"; !{inside[inside.index('=') - 1]})"
        elif not {"==", "!=", "<", ">", "<=", ">=", "!"} & set(inside):
            yield tokens[first], tokens[last], f"(!({condition}))"


def statement_changes(source, tokens):
    """Statements removed, and what they return replaced by nothing."""
    heads = {closing(tokens, i + 1) for i, t in enumerate(tokens[:-1])
             if t.text in CONTROL and tokens[i + 1].text == "("}
    label = False
    for i, t in enumerate(tokens):
        if t.text in ("case", "default"):
            label = True
        starts = i == 0 or tokens[i - 1].text in ("{", "}", ";", "else") or i - 1 in heads
        if label and tokens[i - 1].text == ":":
            starts, label = True, False
        if (not starts or t.text in NO_STATEMENT
                or t.kind == "op" and t.text not in ("*", "++", "--", "(")):
            continue
        depth, last = 0, i
        while last < len(tokens) and depth >= 0 and not (depth == 0 and tokens[last].text == ";"):
            depth += (tokens[last].text in "({[") - (tokens[last].text in ")}]")
            last += 1
        if depth < 0 or last == len(tokens) or DECLARATION.match(source, t.start):
            continue
        yield t, tokens[last], ";"
        if t.text == "return" and last > i + 2:
            yield tokens[i + 1], tokens[last - 1], "{}"


def argument_changes(source, tokens):
    """Neighbouring arguments in each other's place."""
    for i in range(2, len(tokens) - 3):
        before, a, _, b, after = tokens[i - 1:i + 4]
        if (source[a.end:b.start].split() == [","] and a.kind == b.kind == "name"
                and a.text != b.text and before.text in "({," and after.text in ",)}"
                and tokens[i - 2].text != "vell_log"):
            yield a, b, f"{b.text}, {a.text}"


def row_changes(source):
    """Neighbouring rows of a table in each other's place."""
    for rows in re.finditer(r"(?<=\n)( +\{.*\},)\n(?=( +\{.*\},)\n)", source):
        first, second = rows.groups()
        yield (rows.start(), rows.end() + len(second), f"{second}\n{first}")


def named_fields(source):
    """Pairs of neighbouring fields of the same type, in any record of the source."""
    field = r"^ +((?:const )?[\w:]+ \*?)(\w+)((?:\[\w+\])?);[^\n]*\n"
    for first in re.finditer(field, source, re.M):
        second = re.compile(field, re.M).match(source, first.end())
        if second and (first[1], first[3]) == (second[1], second[3]):
            yield first[2], second[2]


def name_changes(source, tokens, fields):
    """A parameter or a field, taken for its neighbour of the same type."""
    for i, t in enumerate(tokens):
        if t.text != "{" or i == 0 or tokens[i - 1].text != ")":
            continue
        head = opening(tokens, i - 1)
        if head == 0 or tokens[head - 1].kind != "name" or tokens[head - 1].text in CONTROL:
            continue
        by_type = {}
        for parameter in source[tokens[head].end:tokens[i - 1].start].split(","):
            if match := re.fullmatch(r"\s*(.+?[ *&])(\w+)\s*", parameter, re.S):
                by_type.setdefault(match[1], []).append(match[2])
        neighbours = {names[n]: names[(n + 1) % len(names)]
                      for names in by_type.values() if len(names) > 1 for n in range(len(names))}
        for j in range(i, closing(tokens, i)):
            if tokens[j].text in neighbours and tokens[j - 1].text not in (".", "->", "::"):
                yield tokens[j], tokens[j], neighbours[tokens[j].text]
    for i in range(2, len(tokens)):
        if tokens[i - 1].text in (".", "->") and tokens[i - 2].text not in ("{", ","):
            for a, b in fields:
                if tokens[i].text in (a, b):
                    yield tokens[i], tokens[i], b if tokens[i].text == a else a


def mutants_of(path, source, fields):
    tokens = code(source)
    if path.startswith("include/"):  # values of constants; the rest are declarations
        changes = [c for c in simple_changes(source, tokens) if c[0].text not in NAMES]
    else:
        changes = [*simple_changes(source, tokens), *condition_changes(source, tokens),
                   *statement_changes(source, tokens), *argument_changes(source, tokens),
                   *name_changes(source, tokens, fields)]
    edits = [(first.start, last.end, new) for first, last, new in changes]
    edits += row_changes(source)
    seen = Counter()
    for start, end, new in sorted(set(edits)):
        line_start = source.rfind("\n", 0, start) + 1
        line_text = source[line_start:source.find("\n", start)].rstrip("\\").strip()
        shown = re.sub(r"\s*\\?\s+", " ", f"{source[start:end]} -> {new or '(nothing)'}").strip()
        key = f"{path}: {line_text} | {shown}"
        seen[key] += 1
        if seen[key] > 1:
            key += f" ({seen[key]})"
        yield Mutant(path, start, end, new, source.count("\n", 0, start) + 1, shown, key)
