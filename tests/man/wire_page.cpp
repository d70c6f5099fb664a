#include "tests/man/wire_page.h"

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace wire {

namespace {

constexpr std::size_t columns_per_byte = 16;
constexpr std::size_t bytes_per_row = 4;

std::size_t number(const std::string &digits) {
    return std::stoul(digits, nullptr, 0);
}

std::vector<std::string> split(const std::string &text, const std::string &separator) {
    std::vector<std::string> parts;
    std::size_t from = 0;
    for (std::size_t at = 0; at != std::string::npos; from = at + separator.size()) {
        at = text.find(separator, from);
        parts.push_back(text.substr(from, at == std::string::npos ? at : at - from));
    }
    return parts;
}

class Reader {
public:
    Page read(std::istream &in) {
        for (std::string line; std::getline(in, line);) {
            ++line_number_;
            read_line(line);
        }
        for (const auto &[section, fields] : page_.drawings) {
            require(!fields.back().from.empty(), section + " has no table");
        }
        return page_;
    }

private:
    void require(bool holds, const std::string &what) const {
        if (!holds) {
            throw std::runtime_error("vell-wire.5:" + std::to_string(line_number_) + ": " + what);
        }
    }

    void read_line(const std::string &line) {
        static const std::regex section(R"(\.S[sh] (.+))");
        static const std::regex same(R"(\.Sx (.+) \.)");
        static const std::regex legend(R"(\.It (\w.*) Ta (\w+) Ta (host|network|-) Ta ?(.*))");
        std::smatch match;
        if (std::regex_match(line, match, section)) {
            section_ = match[1];
            has_columns_ = false;
        } else if (last_ == "The same bytes as" && std::regex_match(line, match, same)) {
            page_.drawings[section_] = page_.drawings.at(match[1]);
        } else if (std::regex_match(line, match, legend)) {
            legend_.push_back({match[1], 0, 0, match[2], match[3], match[4]});
        } else if (line == ".El" && !legend_.empty()) {
            explain_fields();
        } else if (!line.empty() && line[0] != '.') {
            read_text(line);
        }
        last_ = line;
    }

    void read_text(const std::string &line) {
        static const std::regex row(R"( *(\d+)  \|(.*)\|)");
        static const std::regex columns(R"( +0 +1.*)");
        static const std::regex what_follows(R"( *(\d+)    .* \.\.\.)");
        static const std::regex service(R"(  (\S.*?)  +(\d+)  (\d+) +(\d)  +(vell_\w+))");
        static const std::regex manager(R"(  (\S.*?)  +(vell_\w+))");
        static const std::regex platform_function(R"( +(nerb_\w+))");
        static const std::regex flag(R"( +(\d+)  (0x[0-9a-f]{8})   (\w+))");
        static const std::regex message(R"(  (\d)\. (.*))");
        static const std::regex dump(R"(  (\d{4})  ([0-9a-f ]+))");
        static const std::regex decoded(R"( +(\d+)    ((?:[0-9a-f]{2} )+) *\S.*)");
        std::smatch match;
        if (std::regex_match(line, match, columns)) {
            require(std::string("      0               1               2               3")
                        .starts_with(line),
                    "wrong columns");
            has_columns_ = true;
        } else if (std::regex_match(line, match, row)) {
            require(has_columns_, "the bytes of a row are not numbered");
            read_row(number(match[1]), match[2]);
        } else if (std::regex_match(line, match, what_follows)) {
            require(number(match[1]) == size_of(page_.drawings.at(section_)), "wrong offset");
        } else if (std::regex_match(line, match, service)) {
            page_.service_requests[match[1]] = {static_cast<std::uint32_t>(number(match[2])),
                                                static_cast<std::uint32_t>(number(match[3])),
                                                static_cast<std::uint32_t>(number(match[4])),
                                                match[5]};
        } else if (std::regex_match(line, match, manager)) {
            manager_request_ = match[1];
            page_.manager_requests[manager_request_].function = match[2];
        } else if (std::regex_match(line, match, platform_function)) {
            page_.manager_requests[manager_request_].platform_function = match[1];
        } else if (std::regex_match(line, match, flag)) {
            page_.flags.push_back({static_cast<unsigned>(number(match[1])),
                                   static_cast<std::uint32_t>(number(match[2])), match[3]});
        } else if (std::regex_match(line, match, message)) {
            page_.messages_of_one_call.push_back(match[2]);
            require(number(match[1]) == page_.messages_of_one_call.size(), "wrong number");
        } else if (std::regex_match(line, match, dump)) {
            append(page_.dump, match[1], match[2]);
        } else if (std::regex_match(line, match, decoded)) {
            append(page_.decoded, match[1], match[2]);
        } else if (!legend_.empty()) {
            std::string &contents = legend_.back().contents;
            contents += (contents.empty() ? "" : " ") + line;
        }
    }

    void append(bytes &to, const std::string &offset, const std::string &digits) {
        require(std::stoul(offset) == to.size(), "wrong offset");
        to = to + hex(digits);
    }

    // One row of up to four bytes, or a field that is longer.
    void read_row(std::size_t offset, const std::string &row) {
        static const std::regex long_field(R"((.*\S) +(\d+) bytes)");
        Drawing &fields = page_.drawings[section_];
        require(offset == size_of(fields), "the row begins at " + std::to_string(size_of(fields)));
        std::size_t columns = 0;
        for (const std::string &cell : split(row, "|")) {
            columns += cell.size() + 1;
            require(columns % columns_per_byte == 0, "a field ends within a byte");
            const std::size_t from = cell.find_first_not_of(' ');
            std::size_t width = (cell.size() + 1) / columns_per_byte;
            if (from == std::string::npos) {
                require(columns == bytes_per_row * columns_per_byte, "not the field's row alone");
                fields.back().width += width;
                continue;
            }
            std::string name = cell.substr(from, cell.find_last_not_of(' ') - from + 1);
            std::smatch match;
            const std::string text = name;
            if (std::regex_match(text, match, long_field)) {
                name = match[1];
                width = number(match[2]);
            }
            fields.push_back({name, size_of(fields), width});
        }
        require(columns <= bytes_per_row * columns_per_byte, "more than four bytes in a row");
    }

    // Gives each field of the drawing its row of the table; none may be left over.
    void explain_fields() {
        Drawing &fields = page_.drawings.at(section_);
        for (const Field &row : legend_) {
            for (const std::string &name : split(row.name, ", ")) {
                bool is_drawn = false;
                for (Field &one : fields) {
                    if (one.name == name) {
                        one = {name, one.offset, one.width, row.from, row.order, row.contents};
                        is_drawn = true;
                    }
                }
                require(is_drawn, "\"" + name + "\" is not in the drawing");
            }
        }
        for (const Field &one : fields) {
            require(!one.from.empty(), "\"" + one.name + "\" is not in the table");
        }
        legend_.clear();
    }

    Page page_;
    std::string section_;
    std::string last_;
    std::string manager_request_;
    std::vector<Field> legend_;
    bool has_columns_ = false;
    std::size_t line_number_ = 0;
};

} // namespace

std::size_t size_of(const Drawing &drawing) {
    return drawing.empty() ? 0 : drawing.back().offset + drawing.back().width;
}

const Page &page() {
    static const Page read = [] {
        std::ifstream in(VELL_SOURCE_DIR "/man/vell-wire.5");
        if (!in) {
            throw std::runtime_error("man/vell-wire.5 cannot be read");
        }
        return Reader().read(in);
    }();
    return read;
}

const Drawing &drawing(std::string_view section) {
    return page().drawings.at(std::string(section));
}

const Field &field(const std::string &section, const std::string &name) {
    const Drawing &fields = drawing(section);
    const auto is_named = [&](const Field &one) { return one.name == name; };
    if (std::count_if(fields.begin(), fields.end(), is_named) != 1) {
        throw std::runtime_error(section + ": \"" + name + "\" is not there once");
    }
    return *std::find_if(fields.begin(), fields.end(), is_named);
}

} // namespace wire
