"""Finds every message that the library can log: its number, level, function and text."""
import collections
import pathlib
import re

Message = collections.namedtuple("Message", "function number level text")


def log_messages(root):
    """All messages of src/, by function and number. A call that cannot be resolved is an error."""
    found = set()
    for path in sorted(pathlib.Path(root, "src").glob("*/*.cpp")):
        found |= _File(path).messages()
    return sorted(found)


def split_arguments(text):
    """Splits at the commas outside brackets, up to the bracket that closes the list."""
    arguments, depth, quoted = [""], 0, False
    for c in text:
        quoted ^= c == '"'
        if not quoted:
            depth += (c in "([{") - (c in ")]}")
            if depth < 0:
                break
        if c == "," and depth == 0 and not quoted:
            arguments.append("")
        else:
            arguments[-1] += c
    return [argument.strip() for argument in arguments]


class _File:
    def __init__(self, path):
        self.path = path
        self.text = re.sub(r"//.*", "", path.read_text())
        self.constants = {}
        for name, value in re.findall(r"^constexpr char (\w+)\[\] = (\".*\");", self.text, re.M):
            self.constants[name] = value
        for name, value in re.findall(r"^constexpr log_line (\w+) = (\d+);", self.text, re.M):
            self.constants[name] = value
        for record, name, values in re.findall(r"^constexpr (\w+) (\w+) = \{([^}]*)\};", self.text,
                                               re.M):
            body = re.search(r"^struct %s \{(.*?)^\};" % record, self.text, re.M | re.S)
            if body:
                fields = re.findall(r"(\w+);", body[1])
                for field, value in zip(fields, split_arguments(values)):
                    self.constants[f"{name}.{field}"] = value
        # Each function's name, parameters, also those of its template, and where its body is.
        self.functions = []
        for match in re.finditer(
                r"^(?:template <([^>]*)>\n)?(?!using|struct|constexpr)\S[^;{}()]*?(\w+)\("
                r"([^;{}]*?)\)[^;{}()]*(\{.*?^\})", self.text, re.M | re.S):
            parameters = split_arguments(match[1] or "") + split_arguments(match[3])
            names = [re.findall(r"\w+", parameter)[-1] for parameter in parameters if parameter]
            self.functions.append((match[2], names, match.start(4), match.end()))

    def messages(self):
        found = set()
        for call in re.finditer(r"\bvell_log\(", self.text):
            level, function, number, text = split_arguments(self.text[call.end():])[:4]
            prefix = f'"%s(%d):{level[4:].upper()}: '
            if not text.startswith(prefix):
                raise ValueError(f"{self.path}: {text} does not begin with {prefix}")
            text = text[len(prefix):-1].removesuffix("\\n")
            for function, number in self.resolve([function, number], call.start()):
                if number != "0":  # a message that this function does not have
                    found.add(Message(function.strip('"'), int(number), level[4:], text))
        return found

    def function_at(self, place):
        return next((f for f in self.functions if f[2] <= place < f[3]), None)

    def resolve(self, values, place):
        """What the values can be at a place: through the calls of the function that it is in."""
        owner, parameters, start, _ = self.function_at(place)
        local = dict(re.findall(r"char (\w+)\[\] = (\".*\");", self.text[start:place]))
        values = [local.get(v, self.constants.get(v, v)) for v in values]
        if all(re.fullmatch(r'"\w+"|\d+', value) for value in values):
            return [values]
        found = []
        for call in re.finditer(r"\b%s(?:<([^>]*)>)?\(" % owner, self.text):
            if not self.function_at(call.start()):
                continue
            arguments = [call[1]] if call[1] else []
            arguments += split_arguments(self.text[call.end():])
            given = dict(zip(parameters, arguments))
            passed = [re.sub(r"^\w+", lambda name: given.get(name[0], name[0]), value)
                      for value in values]
            found += self.resolve(passed, call.start())
        if not found:
            raise ValueError(f"{self.path}: cannot tell what {values} in {owner} can be")
        return found
