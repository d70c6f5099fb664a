"""vell-log(5) has every message of the library, as the sources log it, and no other."""
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "man"))
sys.dont_write_bytecode = True
import log_calls

PAGE = (ROOT / "man/vell-log.5").read_text()
MESSAGES = [message._replace(text=message.text.strip()) for message in log_calls.log_messages(ROOT)]
ENTRIES = [log_calls.Message(function, int(number), level, text)
           for function, number, level, text in re.findall(
               r"^\.It Sy (\w+)\((\d+)\) (\w+)\n\.Bd -literal -compact\n(.*)\n\.Ed\n\.Pp\n(?!\.It|\.El)",
               PAGE, re.M)]


def pattern(text):
    """What a line with this text looks like, with any values."""
    values = {"%d": r"-?\d+", "%x": "[0-9a-f]+", "%s": r"\w+"}
    return "".join(values.get(part, re.escape(part)) for part in re.split(r"(%[dxs])", text))


class LogPage(unittest.TestCase):
    maxDiff = None

    def test_every_message_has_an_entry_with_its_text_and_a_meaning(self):
        self.assertGreater(len(MESSAGES), 50)
        self.assertEqual(sorted(ENTRIES), sorted(MESSAGES))

    def test_the_index_lists_all_in_the_order_of_their_numbers(self):
        index = re.findall(r"^ +(\d+)  (\w+)  (\w+)$", PAGE[PAGE.index(".Sh INDEX"):], re.M)
        by_number = sorted(MESSAGES, key=lambda message: message.number)
        self.assertEqual(index, [(str(message.number), message.level, message.function)
                                 for message in by_number])

    def test_the_lines_shown_are_lines_that_the_library_logs(self):
        lines = re.findall(r"^(\w+)\((\d+)\):(?:([A-Z]+): )?(.*)$", PAGE, re.M)
        self.assertTrue(lines)
        by_number = {message.number: message for message in MESSAGES}
        for function, number, marker, text in lines:
            message = by_number[int(number)]
            self.assertEqual(function, message.function)
            self.assertRegex(text, f"^{pattern(message.text)}$")
            # Only a trace may lack its marker.
            self.assertIn(marker, [message.level.upper()] + [""] * (message.level == "trace"))

    def test_an_entry_refers_to_messages_that_exist(self):
        numbers = {message.number for message in MESSAGES}
        entries = PAGE[PAGE.index(".Sh REGISTRATION"):]
        named = {int(number) for number in re.findall(
            r"\b(?:[Ee]rror|traces?|See|[Aa]s|in|or|and) (\d{3,4})\b", entries)}
        self.assertGreater(len(named), 10)
        self.assertEqual(named - numbers, set())

    def test_the_functions_named_as_silent_are_those_without_a_message(self):
        section = PAGE[PAGE.index(".Ss What is not logged"):PAGE.index(".Sh REGISTRATION")]
        failed_send, not_registered = (
            set(re.findall(r"^\.Fn (\w+)", part, re.M)) for part in section.split("\nA missing "))
        wire_page = (ROOT / "man/vell-wire.5").read_text()
        senders = set(re.findall(r"  21\d  \d+ +\d +(\w+)$", wire_page, re.M))
        self.assertEqual(failed_send, senders - self.functions_that_say("fail"))
        own_queue = {"vell_register"} | {name for name in senders if "_zeb_" in name}
        self.assertEqual(not_registered,
                         senders - own_queue - self.functions_that_say("regist"))

    @staticmethod
    def functions_that_say(word):
        return {message.function for message in MESSAGES
                if message.level == "error" and word in message.text}

    def test_level_module_uuid_and_length_are_those_of_the_code(self):
        sources = "".join((ROOT / "src/client" / name).read_text()
                          for name in ("log.h", "client_state.h"))

        def constant(name):
            return re.search(r"\b%s = (\w+);" % name, sources)[1]

        levels = re.findall(r"\bnumber = (\d+);", sources)
        for sentence in ("An error has level %s, a trace %s.\n" % tuple(levels),
                         f"Both have module {constant('log_module')}.\n",
                         f"While no uuid is registered, that is {constant('unregistered_uuid')}:",
                         f"cut to {int(constant('log_text_size')) - 1} characters"):
            self.assertIn(sentence, PAGE)


if __name__ == "__main__":
    unittest.main()
