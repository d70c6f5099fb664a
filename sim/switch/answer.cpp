#include "sim/switch/answer.h"

#include "sim/base/if_name.h"
#include "sim/base/text.h"
#include "sim/switch/client.h"

#include <chrono>
#include <iterator>

namespace sim {

namespace {

using clock = std::chrono::steady_clock;

// How long one asker's piece may keep the others waiting.
constexpr std::chrono::milliseconds longest_turn{2};

} // namespace

answer::answer(const question &asked)
    : out_(asked.form),
      rows_{.limit = asked.number("limit")},
      end_([asked](output &out, const row_count &rows) {
          out.json("matched", rows.matched);
          print_narrowing(out, asked);
          out.close_object();
      }) {
    out_.open_object();
}

answer answer::refusal(const std::string &why) {
    answer made(output_form::text);
    made.is_refusal_ = true;
    made.once([why](output &out, row_count &) { out.text("{}", why); });
    return made;
}

void answer::begin_rows(std::string_view name) {
    once([name](output &out, row_count &) { out.open_rows(name); });
}

void answer::end_rows(std::string_view noun) {
    once([noun = std::string(noun)](output &out, row_count &rows) {
        out.close_list();
        out.text("{}\n", counted_of(rows.shown, rows.matched, noun));
    });
}

answer::piece answer::next() {
    const clock::time_point until = clock::now() + longest_turn;
    while (at_ < parts_.size() && !is_enough(out_) && clock::now() < until) {
        at_ += parts_[at_](out_, rows_) ? 1 : 0;
    }
    const bool is_last = at_ == parts_.size();
    if (is_last && end_) {
        std::exchange(end_, nullptr)(out_, rows_);
    }
    std::string text = out_.take();
    if (is_last && out_.is_json()) {
        text += '\n';
    }
    return {std::move(text), is_last};
}

void print_sender(output &out, const sender_name &from) {
    out.json("client", from.client);
    out.json("pid", from.pid);
    if (from.client == 0) {
        out.text("pid {}", from.pid);
    } else {
        out.text("client {}", from.client);
    }
}

void print_interface(output &out, std::uint32_t if_index) {
    out.json("if_index", if_index);
    out.field("name", "{}", if_name(if_index));
}

void open_items(output &out, std::string_view name, std::string_view title, std::size_t count) {
    if (count == 0) {
        out.text("    {}: none\n", title);
        out.open_list(name);
    } else {
        out.open_wrapped_list(name, fmt::format("    {} ({}): ", title, count));
    }
}

std::string hex_text(std::span<const std::byte> bytes) {
    std::string text;
    for (const std::byte byte : bytes) {
        fmt::format_to(std::back_inserter(text), "{:02x}", std::to_integer<unsigned>(byte));
    }
    return text;
}

} // namespace sim
