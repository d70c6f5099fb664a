"""Writes the manual pages of section 3, and vell(7), from vell.h, the sources and the examples.

Usage: header_pages.py ROOT VERSION OUTPUT

Each section of the header becomes a page. A section without a page, a log message whose number is
not in its function's comment, and an example that does not exist are errors.
"""
import collections
import datetime
import pathlib
import re
import shutil
import sys

import example_code
from log_calls import log_messages
from mdoc_text import Writer, escaped, literal, quoted, without_first_break
from read_header import Header, Paragraph, paragraphs_of

# name: the page's main function or record. examples: functions to show, in their order.
Page = collections.namedtuple("Page", "name description client examples")

PAGES = {
    "Registration":
        Page("vell_register", "become a client of the vell service", "first_client.c",
             ["register_client"]),
    "Route records":
        Page("vell_mrib_route", "a multicast route, its flags and fields", "route_client.c",
             ["fill_head"]),
    "Lists of a route":
        Page("vell_mrib_list", "outgoing interfaces and encapsulations of a multicast route",
             "route_client.c", ["add_oifs", "fill_route", "room_for"]),
    "Route messages":
        Page("vell_send_v4_mroute_update", "send multicast routes to the vell service",
             "route_client.c", ["send_message", "send_routes"]),
    "Route statistics":
        Page("vell_send_v4_mroute_stats_req", "request or clear the counters of a route",
             "stats_client.c", ["read_counters", "clear_counters"]),
    "IGMP snooping and layer-2 multicast":
        Page("vell_send_l2_mc_update", "layer-2 multicast messages, markers and their records",
             "snooping_client.c", ["fill_record", "send_message"]),
    "Overlay notifications":
        Page("vell_send_zeb_route_update", "notify the vell service of the overlay",
             "overlay_client.c", ["send_route", "disable_vlans"]),
    "Flood sets":
        Page("vell_send_l2_mc_update_flood_ltl", "change the flood sets of VLANs",
             "flood_client.c", ["fill_vlan", "send_flood_sets", "take_result"]),
    "Multicast LTL indexes":
        Page("vell_nerb_l2_ltl_alloc", "request, change or release a multicast LTL index",
             "ltl_client.c", ["allocate_ltl", "change_ltl", "release_ltl"]),
    "Answers to LTL requests":
        Page("vell_nerb_handle_l2_response", "read the LTL manager's answers", "ltl_client.c",
             ["is_answer", "take_answer"]),
}

CONVENTIONS = [".Pp", ".Xr vell 7",
               "has the conventions of all pages, such as what an acknowledged client is."]
MANY = 3  # functions of one comment: more are named by their pattern


class Generator:
    def __init__(self, root, version):
        self.root = pathlib.Path(root)
        self.version = version
        self.header = Header((self.root / "include/vell.h").read_text())
        self.frame = (self.root / "man/vell.7.in").read_text()
        self.messages = log_messages(root)
        release = re.search(r"^## .* (\d{4}-\d\d-\d\d)$", (self.root / "CHANGELOG.md").read_text(),
                            re.M)
        if not release:
            raise ValueError("CHANGELOG.md has no release with a date")
        date = datetime.date.fromisoformat(release[1])
        self.date = f"{date:%B} {date.day}, {date.year}"
        titles = [self.title(section) for section in self.header.sections]
        if titles != list(PAGES):
            raise ValueError(f"vell.h has the sections {titles}, and there are pages for "
                             f"{list(PAGES)}")
        unknown = {m.function for m in self.messages} - {f.name for f in self.header.functions()}
        if unknown:
            raise ValueError(f"src/ logs messages of {unknown}, which vell.h does not declare")

    @staticmethod
    def title(section):
        return section.title.split(":")[0]

    def section_page(self, section):
        """The text of a section's page, and its other names."""
        page = PAGES[self.title(section)]
        # A family of many functions comes last, where it hides no other.
        items = sorted(section.items, key=lambda item: len(item.functions) > MANY)
        functions = [function for item in items for function in item.functions]
        names = [function.name for function in functions] + section.variables()
        names = [name for name in names if name != page.name]
        writer = Writer(self.header, {function.name for function in functions})
        lines = [f".Dd {self.date}", f".Dt {page.name.upper()} 3", f'.Os "libvell {self.version}"',
                 ".Sh NAME", *(f".Nm {name} ," for name in [page.name, *names][:-1]),
                 f".Nm {names[-1]}", f".Nd {page.description}",
                 ".Sh LIBRARY", "libvell", ".Pq Fl l Ns Ar vell",
                 ".Sh SYNOPSIS", ".In vell.h"]
        for function in functions:
            lines += [f".Ft {quoted(function.result)}", f".Fo {function.name}",
                      *(f".Fa {quoted(argument)}" for argument in function.arguments), ".Fc"]
        variables = [variable for item in items for variable in item.variables]
        lines += [".Pp"] * bool(variables) + [f'.Vt "extern {v}" ;' for v in variables]
        lines += [".Sh DESCRIPTION",
                  *without_first_break([*writer.paragraphs(section.paragraphs), *CONVENTIONS])]
        lines += self.data([item for item in items if not item.functions], writer)
        for item in section.items:
            if item.functions:
                lines += [f".Ss {self.heading(item)}",
                          *without_first_break(writer.paragraphs(item.paragraphs))]
        lines += [".Sh LOG MESSAGES", *self.logs(section), *self.examples(page),
                  ".Sh SEE ALSO", *self.references(page.name),
                  ".Xr vell-log 5 ,", ".Xr vell-wire 5 ,", ".Xr vell 7"]
        return "\n".join(lines) + "\n", names

    @staticmethod
    def references(except_page=""):
        return [f".Xr {name} 3 ," for name in sorted(p.name for p in PAGES.values())
                if name != except_page]

    @staticmethod
    def heading(item):
        names = [function.name for function in item.functions]
        if len(names) <= MANY:
            return ", ".join(names)
        return item.paragraphs[0].text.split()[0].split("(")[0]  # such as vell_set_<name>

    @staticmethod
    def data(items, writer):
        """Everything that is not a function, under one heading."""
        code = "\n".join(line for item in items for line in item.code)
        parts = [name for name, mark in (("records", "struct"), ("constants", "enum|#define"),
                                         ("variables", "extern")) if re.search(mark, code)]
        if not parts:
            return []
        lines = []
        for item in items:
            lines += writer.paragraphs(item.paragraphs) + literal(item.code)
        title = ", ".join(parts[:-1]) + " and " * (len(parts) > 1) + parts[-1]
        return [f".Ss {title.capitalize()}", *without_first_break(lines)]

    def logs(self, section):
        lines = []
        for item in section.items:
            for function in item.functions:
                rows = [m for m in self.messages if m.function == function.name]
                for message in rows:
                    if not re.search(r"\b%d\b" % message.number, item.text()):
                        raise ValueError(f"the comment on {function.name} in vell.h lacks its log "
                                         f"message {message.number}")
                if rows:
                    lines += [".Pp", f".Fn {function.name} :", ".Bd -literal -compact",
                              *(f"{m.number:6}  {m.level}  {escaped(m.text.rstrip())}"
                                for m in rows), ".Ed"]
        return without_first_break(lines) or ["These functions log nothing."]

    def examples(self, page):
        code = []
        for name in page.examples:
            code += [""] * bool(code) + self.example(page.client, name)
        return [".Sh EXAMPLES", "From", f".Pa examples/{page.client} :", *literal(code)]

    def example(self, client, name):
        code = example_code.function((self.root / "examples" / client).read_text(), name)
        if not code:
            raise ValueError(f"examples/{client} has no function {name}")
        return code

    def overview(self):
        """vell(7): its lines that begin with @ are replaced, and no convention is left out."""
        writer = Writer(self.header, set())
        families = [f".It Xr {p.name} 3\n{p.description}" for p in PAGES.values()]
        first, *others = self.header.introduction
        first = Paragraph(first.text.replace("libvell: ", "libvell "), None)
        parts = {"introduction": writer.paragraphs([first, *others]),
                 "families": [".Bl -tag -width Ds -compact", *families, ".El"],
                 "recovery": literal(self.example("recovery_client.c", "register_again")),
                 "clients": [], "pages": self.references()}
        for client in sorted((self.root / "examples").glob("*.c")):
            comment = client.read_text().split("*/")[0]
            parts["clients"] += [f".It Pa {client.name}",
                                 *writer.prose(paragraphs_of(comment)[0].text)]
        for name, paragraphs in self.header.conventions.items():
            parts[name] = writer.paragraphs(paragraphs)
        lines, used = [], set()
        frame = self.frame.replace("@VERSION@", self.version).replace("@DATE@", self.date)
        for line in frame.splitlines():
            if line.startswith("@"):
                if line[1:] not in parts:
                    raise ValueError(f"man/vell.7.in: vell.h has nothing for {line}")
                used.add(line[1:])
                part = parts[line[1:]]
                lines += without_first_break(part) if lines[-1].startswith(".Sh") else part
            else:
                lines.append(line)
        if used != set(parts):
            raise ValueError(f"man/vell.7.in does not use {set(parts) - used}")
        return "\n".join(lines) + "\n"

    def write(self, folder):
        section3 = folder / "man3"
        shutil.rmtree(section3, ignore_errors=True)
        section3.mkdir(parents=True)
        for section in self.header.sections:
            text, other_names = self.section_page(section)
            name = PAGES[self.title(section)].name
            (section3 / f"{name}.3").write_text(text)
            for other in other_names:
                (section3 / f"{other}.3").write_text(f".so man3/{name}.3\n")
        (folder / "man7").mkdir(exist_ok=True)
        (folder / "man7/vell.7").write_text(self.overview())


if __name__ == "__main__":
    try:
        Generator(sys.argv[1], sys.argv[2]).write(pathlib.Path(sys.argv[3]))
    except ValueError as error:
        sys.exit(f"header_pages.py: {error}")
