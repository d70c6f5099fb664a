"""The pages made from vell.h, as they are read, agree with the header, the library and the sources.

Usage: header_pages_test.py TREE LIBRARY COMPILER. Nothing here uses what writes the pages.
"""
import os
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
TREE, LIBRARY, COMPILER = (pathlib.Path(argument).resolve() if "/" in argument else argument
                           for argument in sys.argv[1:4])


def output_of(*command):
    environment = dict(os.environ, LC_ALL="C.UTF-8", MANWIDTH="80")
    return subprocess.run([str(word) for word in command], check=True, stdout=subprocess.PIPE,
                          text=True, env=environment).stdout


def rendered(page):
    """The sections of a page as plain text, by their titles."""
    text = re.sub(".\b", "", output_of("mandoc", "-Tutf8", "-Owidth=78", page))
    parts = re.split(r"^([A-Z][A-Z -]+)$", text, flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))


def tokens(code):
    """C code without comments and attributes, as words and marks with a space after each."""
    code = re.sub(r"/\*.*?\*/", " ", code, flags=re.S)
    code = re.sub(r"__attribute__ *\(\(.*?\)\)+|VELL_RECORD|VELL_API|\\\n", " ", code)
    code = " ".join(re.findall(r"\w+|[^\w\s]", code)) + " "
    return code.replace(", } ", "} ")


def is_link(page):
    return page.read_text().startswith(".so ")


PAGES = {page: rendered(page) for page in sorted(TREE.glob("man3/*.3")) if not is_link(page)}
EXPORTED = set(output_of("nm", "-D", "--defined-only", "--format=posix", LIBRARY).split()[::4])
HEADER = ROOT / "include/vell.h"
OVERVIEW = TREE / "man7/vell.7"
OF_THE_SYSTEM = {"bridge(8)", "ip(8)"}


class Names(unittest.TestCase):
    def test_man_finds_a_page_for_every_exported_symbol(self):
        self.assertGreater(len(EXPORTED), 100)
        for name in sorted(EXPORTED):
            page = pathlib.Path(output_of("man", "-M", TREE, "-w", "3", name).strip())
            self.assertIn(name, re.findall(r"\w+", PAGES[page]["NAME"]), page)

    def test_every_cross_reference_leads_to_a_page(self):
        found = 0
        for page in TREE.glob("man[1-8]/*"):
            for name, section in re.findall(r"\bXr (\S+) ([1-8])", page.read_text()):
                found += 1
                if f"{name}({section})" in OF_THE_SYSTEM:
                    continue
                self.assertTrue((TREE / f"man{section}/{name}.{section}").exists(),
                                f"{page.name} refers to {name}({section})")
        self.assertGreater(found, 100)


class Declarations(unittest.TestCase):
    def test_synopses_declare_each_export_once_and_as_the_header_does(self):
        declared = []
        source = '#include "vell.h"\n'
        for page in PAGES.values():
            text = page["SYNOPSIS"].replace("#include <vell.h>", "")
            source += text
            declared += re.findall(r"(\w+)(?:\(.*?\)|\[.*?\])?;", text, re.S)
        self.assertEqual(sorted(declared), sorted(EXPORTED))
        # The compiler refuses another type. Names of arguments are compared by the next test.
        subprocess.run([COMPILER, "-m32", "-std=c99", "-Wall", "-Werror", "-fsyntax-only",
                        f"-I{HEADER.parent}", "-xc", "-"], input=source, text=True, check=True)

    def test_declarations_are_those_of_the_header_word_by_word(self):
        preprocessed = output_of(COMPILER, "-m32", "-std=c99", "-E", "-P", "-xc", HEADER)
        header = tokens(preprocessed) + tokens(HEADER.read_text())
        found = []
        for page in PAGES.values():
            code = page["SYNOPSIS"].replace("#include <vell.h>", "").split(";")[:-1]
            code += self.code_blocks(page["DESCRIPTION"])
            for declaration in code:
                self.assertIn(tokens(declaration), header)
                found.append(tokens(declaration))
        types = set(re.findall(r"(?:\} |typedef \w+ )(vell_\w+) ; ", tokens(preprocessed)))
        named = {name for code in found for name in re.findall(r"\w+", code)}
        self.assertIn("vell_l2_mbd_record", types)
        self.assertEqual(types - named, set())

    @staticmethod
    def code_blocks(text):
        """Paragraphs that are set in by two columns more than text, but not drawings."""
        blocks = [block for block in re.split(r"\n\s*\n", text)
                  if all(line.startswith("       ") for line in block.strip("\n").split("\n"))]
        return [block for block in blocks if ";" in block or "#define" in block]


class LogMessages(unittest.TestCase):
    @staticmethod
    def description(page, function):
        """What the page says under the function's own heading."""
        parts = re.split(r"^   (\S.*)\n", page["DESCRIPTION"], flags=re.M)
        return next(text for heading, text in zip(parts[1::2], parts[2::2])
                    if function in heading.split(", "))

    @staticmethod
    def rows(page):
        """Function, number, level and text of each message in a page's list."""
        function = None
        for line in page["LOG MESSAGES"].splitlines():
            owner = re.fullmatch(r" +(\w+)\(\):", line)
            row = re.fullmatch(r" +(\d+)  (\w+)  (.*)", line)
            function = owner[1] if owner else function
            if row:
                yield function, int(row[1]), row[2], row[3]

    def test_every_message_is_listed_with_the_function_that_logs_it(self):
        sources = [path.read_text() for path in ROOT.glob("src/*/*.cpp")]
        texts = set()
        for page in PAGES.values():
            for function, number, level, text in self.rows(page):
                start = re.escape(f'"%s(%d):{level.upper()}: {text}')
                self.assertTrue(
                    any(re.search(start + r' *(\\n)?"', source) and f'"{function}"' in source and
                        re.search(r"\b%d\b" % number, source) for source in sources),
                    f"{function} {number} {level} {text}")
                texts.add((level.upper(), text))
                self.assertRegex(self.description(page, function), r"\b%d\b" % number, function)
        logged = {(level, text.strip()) for source in sources for level, text in
                  re.findall(r'"%s\(%d\):(\w+): (.*?)(?:\\n)?"', source)}
        self.assertGreater(len(logged), 40)
        self.assertEqual(texts, logged)

    def test_numbers_in_the_text_are_of_messages_of_that_level(self):
        found = 0
        for page in PAGES.values():
            levels = {number: level for _, number, level, _ in self.rows(page)}
            text = " ".join(page["DESCRIPTION"].split())
            for level, numbers in re.findall(r"\b(error|trace)s? (\d+(?:(?:, | and )\d+)*)", text):
                for number in re.findall(r"\d+", numbers):
                    found += 1
                    self.assertEqual(levels.get(int(number)), level, f"{level} {number}")
        self.assertGreater(found, 30)


class Texts(unittest.TestCase):
    def test_examples_are_functions_of_the_example_clients(self):
        # Comments and line breaks may differ: the pages are narrower than the files.
        clients = [tokens(path.read_text()) for path in ROOT.glob("examples/*.c")]
        found = 0
        shown = {path.name: page["EXAMPLES"] for path, page in PAGES.items()}
        shown["vell.7"] = rendered(OVERVIEW)["RECOVERY"].partition("function")[2]
        for page, text in shown.items():
            code = text.partition(":\n")[2]
            functions = re.findall(r"^( {5,7})(\w.*?^)\1\}$", code, re.M | re.S)
            self.assertTrue(functions, page)
            for _, function in functions:
                found += 1
                self.assertTrue(any(tokens(function + "}") in client for client in clients),
                                f"{page}:\n{function}")
        self.assertGreater(found, 10)

    def test_lines_fit_a_terminal_of_80_columns(self):
        for path in [*PAGES, OVERVIEW]:
            for title, text in rendered(path).items():
                for line in text.splitlines():
                    self.assertLessEqual(len(line), 80, f"{path.name}, {title}: {line}")

    def test_the_limits_of_the_overview_are_those_of_the_header(self):
        limits = rendered(OVERVIEW)["LIMITS"]
        numbers = re.findall(r"\b(?<!\()(\d{2,})\b", re.sub(r"\d+ bits", "", limits))
        self.assertIn("15103", numbers)
        for number in numbers:
            self.assertRegex(HEADER.read_text(), r"\b%s\b" % number)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
