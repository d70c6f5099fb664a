#include "sim/base/output.h"

namespace sim {

namespace {

struct code_point {
    std::uint32_t value = 0;
    std::size_t length = 0; // in bytes of UTF-8; 0 for bytes that are none
};

// The shortest form only, and no half of a surrogate pair.
code_point read_code_point(std::string_view text) {
    const auto byte = [text](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
    };
    const unsigned first = byte(0);
    const std::size_t length = first < 0x80                     ? 1
                               : first >= 0xc2 && first < 0xe0  ? 2
                               : first >= 0xe0 && first < 0xf0  ? 3
                               : first >= 0xf0 && first <= 0xf4 ? 4
                                                                : 0;
    std::uint32_t value = length < 2 ? first : first & (0x7fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) {
            return {};
        }
        value = value << 6 | (byte(i) & 0x3f);
    }
    const bool is_overlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
    const bool is_surrogate = value >= 0xd800 && value < 0xe000;
    return is_overlong || is_surrogate || value > 0x10ffff ? code_point{}
                                                           : code_point{value, length};
}

} // namespace

// The last item of a wrapped list stays here: it may yet have to move to the next line.
std::string output::take() {
    const std::size_t end = line_.item.value_or(printed_.size());
    std::string taken = printed_.substr(0, end);
    printed_.erase(0, end);
    if (line_.item) {
        line_.item = 0;
    }
    return taken;
}

void output::open(std::string_view name, const char *start, level opened) {
    start_value(name);
    if (is_json()) {
        printed_ += start;
    }
    levels_.push_back(opened);
}

void output::close() {
    if (is_json()) {
        printed_ += levels_.back().end;
    }
    levels_.pop_back();
}

void output::open_wrapped_list(std::string_view name, std::string_view lead) {
    open(name, "[", {.end = ']', .is_shown = true});
    if (!is_json()) {
        printed_ += lead;
        line_ = {.indent = lead.size(), .width = lead.size()};
    }
}

void output::close_list() {
    if (levels_.back().is_shown && !is_json()) {
        end_item(true);
        printed_ += '\n';
    }
    close();
}

// The comma before a value, and its name.
void output::start_value(std::string_view name) {
    if (levels_.empty()) {
        return;
    }
    level &in = levels_.back();
    if (is_json()) {
        if (!in.is_empty) {
            printed_ += in.is_rows ? ",\n" : ",";
        }
        if (in.end == '}') {
            printed_ += '"';
            printed_ += name;
            printed_ += "\":";
        }
    } else if (in.is_shown) {
        start_item();
    }
    in.is_empty = false;
}

void output::json(std::string_view name, std::string_view value) {
    start_value(name);
    if (is_json()) {
        write_string(value);
    }
}

void output::json(std::string_view name, std::nullopt_t) {
    start_value(name);
    if (is_json()) {
        printed_ += "null";
    }
}

void output::json_list(std::string_view name, std::span<const std::uint32_t> numbers) {
    open_list(name);
    for (const std::uint32_t number : numbers) {
        json({}, number);
    }
    close_list();
}

// In ASCII, so that no terminal finds anything in it to obey.
void output::write_string(std::string_view value) {
    printed_ += '"';
    while (!value.empty()) {
        const code_point next = read_code_point(value);
        if (next.length == 0) {
            printed_ += "\\ufffd";
        } else if (next.value >= 0x10000) {
            write("\\u{:04x}\\u{:04x}", 0xd7c0 + (next.value >> 10), 0xdc00 + (next.value & 0x3ff));
        } else if (next.value < 0x20 || next.value >= 0x7f) {
            write("\\u{:04x}", next.value);
        } else {
            printed_ += next.value == '"' || next.value == '\\' ? "\\" : "";
            printed_ += static_cast<char>(next.value);
        }
        value.remove_prefix(next.length == 0 ? 1 : next.length);
    }
    printed_ += '"';
}

void output::start_item() {
    end_item(false);
    line_.item = printed_.size();
}

void output::end_item(bool is_last) {
    if (!line_.item) {
        return;
    }
    if (!is_last) {
        printed_ += ',';
    }
    const std::size_t length = printed_.size() - *line_.item;
    const bool is_first = line_.width == line_.indent;
    if (!is_first && line_.width + 1 + length > text_width) {
        printed_.insert(*line_.item, "\n" + std::string(line_.indent, ' '));
        line_.width = line_.indent + length;
    } else {
        printed_.insert(*line_.item, is_first ? 0 : 1, ' ');
        line_.width += length + (is_first ? 0 : 1);
    }
    line_.item.reset();
}

} // namespace sim
