"""What writes the pages of vell.h refuses a header that does not fit the sources, or its own table.

Usage: header_pages_faults_test.py. Each test plants one fault in a copy.
"""
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]


class Faults(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for part in ("include", "src", "examples", "man"):
            shutil.copytree(ROOT / part, self.root / part)
        shutil.copy(ROOT / "CHANGELOG.md", self.root)

    def write_pages(self, tree="tree"):
        return subprocess.run(
            [sys.executable, "-B", self.root / "man/header_pages.py", self.root, "1.2.3",
             self.root / tree], stderr=subprocess.PIPE, text=True, check=False)

    def plant(self, file, text, instead):
        path = self.root / file
        before = path.read_text()
        self.assertIn(text, before)
        path.write_text(before.replace(text, instead))

    def expect_refusal(self, message):
        written = self.write_pages()
        self.assertEqual(written.returncode, 1, written.stderr)
        self.assertIn(message, written.stderr)

    def test_pages_are_the_same_each_time_with_version_and_date_of_the_release(self):
        self.plant("CHANGELOG.md", "## 1.0.0 - ", "## 1.2.3 - 2027-01-05\n\n## 1.0.0 - ")
        pages = []
        for tree in ("one", "two"):
            self.assertEqual(self.write_pages(tree).returncode, 0)
            pages.append({path.name: path.read_bytes()
                          for path in (self.root / tree).glob("man?/*")})
        self.assertEqual(pages[0], pages[1])
        for name in ("vell_register.3", "vell.7"):
            self.assertIn(b'.Os "libvell 1.2.3"\n', pages[0][name])
            self.assertIn(b".Dd January 5, 2027\n", pages[0][name])

    def test_a_page_that_is_no_longer_made_disappears(self):
        (self.root / "tree/man3").mkdir(parents=True)
        (self.root / "tree/man3/vell_gone.3").write_text("")
        self.assertEqual(self.write_pages().returncode, 0)
        self.assertFalse((self.root / "tree/man3/vell_gone.3").exists())

    def test_a_log_number_that_the_comment_lacks(self):
        self.plant("include/vell.h", "(error 596)", "(error 597)")
        self.expect_refusal("the comment on vell_send_igmp_oob_notification in vell.h lacks its log "
                            "message 596")

    def test_a_log_message_that_cannot_be_found_out(self):
        self.plant("src/l2/overlay_notifications.cpp",
                   'log_send_failure("vell_send_zeb_route_update", 281)',
                   'log_send_failure(pick_a_name(), 281)')
        self.expect_refusal("overlay_notifications.cpp: cannot tell what")

    def test_a_message_of_a_function_that_is_not_declared(self):
        self.plant("src/l2/overlay_notifications.cpp", '"vell_send_zeb_route_update"',
                   '"vell_send_zeb_update"')
        self.expect_refusal("src/ logs messages of {'vell_send_zeb_update'}")

    def test_a_section_without_a_page(self):
        self.plant("include/vell.h", " * Overlay notifications\n", " * Overlays\n")
        self.expect_refusal("vell.h has the sections")

    def test_a_name_that_is_not_declared(self):
        self.plant("include/vell.h", "one vell_l2_vlan_record per", "one vell_l2_lan_record per")
        self.expect_refusal("vell.h mentions vell_l2_lan_record, which it does not declare")

    def test_a_convention_that_the_overview_leaves_out(self):
        self.plant("man/vell.7.in", "@Threads\n", "")
        self.expect_refusal("man/vell.7.in does not use {'Threads'}")

    def test_a_part_of_the_overview_that_the_header_lacks(self):
        self.plant("include/vell.h", " * Threads: the", " * In threads the")
        self.expect_refusal("man/vell.7.in: vell.h has nothing for @Threads")

    def test_an_example_that_does_not_exist(self):
        self.plant("examples/route_client.c", "fill_route(", "fill(")
        self.expect_refusal("examples/route_client.c has no function fill_route")


if __name__ == "__main__":
    unittest.main()
