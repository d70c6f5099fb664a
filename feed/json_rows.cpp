#include "feed/json_rows.h"

#include "feed/failure.h"
#include "feed/stop_signals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace feed {

namespace {

using nlohmann::json;

// A table is four levels deep; the bound keeps hostile input from growing memory level by level.
constexpr std::size_t deepest_level = 64;

// The bytes of a file, and where in the text the last one taken is: the parser does not say.
class byte_source {
public:
    byte_source(const std::string &name, int file) : name_(name), file_(file) {}

    bool at_end() { return at_ == end_ && !refill(); }
    const char &front() const { return *at_; }
    void pop() { ++at_; }

    // "table.json:2:18", both counted from 1.
    std::string place() const {
        const char *last = at_ == buffer_.data() ? at_ : at_ - 1;
        const std::string_view before(buffer_.data(),
                                      static_cast<std::size_t>(last - buffer_.data()));
        const auto lines = static_cast<std::size_t>(std::ranges::count(before, '\n'));
        const std::size_t line_feed = before.rfind('\n');
        const std::size_t column =
            line_feed == before.npos ? column_ + before.size() : before.size() - line_feed - 1;
        return fmt::format("{}:{}:{}", name_, line_ + lines, column + 1);
    }

private:
    bool refill() {
        count_lines();
        stop_signals::wait_to_read(file_, name_);
        ssize_t size = -1;
        do {
            size = ::read(file_, buffer_.data(), buffer_.size());
        } while (size < 0 && errno == EINTR);
        if (size < 0) {
            throw input_error(fmt::format("{}: cannot be read: {}", name_, std::strerror(errno)));
        }
        at_ = buffer_.data();
        end_ = at_ + size;
        return size > 0;
    }

    void count_lines() {
        const std::string_view done(buffer_.data(),
                                    static_cast<std::size_t>(end_ - buffer_.data()));
        const std::size_t line_feed = done.rfind('\n');
        line_ += static_cast<std::size_t>(std::ranges::count(done, '\n'));
        column_ = line_feed == done.npos ? column_ + done.size() : done.size() - line_feed - 1;
    }

    std::string name_;
    int file_;
    std::array<char, 65536> buffer_;
    const char *at_ = buffer_.data();
    const char *end_ = buffer_.data();
    std::size_t line_ = 1;   // of the buffer's first byte
    std::size_t column_ = 0; // and how many bytes of this line are before it
};

// All copies of an iterator are at the same byte: that is enough for the parser.
struct byte_iterator {
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char *;
    using reference = const char &;

    byte_source *source; // null: the end

    reference operator*() const { return source->front(); }
    byte_iterator &operator++() {
        source->pop();
        return *this;
    }
    bool operator==(const byte_iterator &) const { return source->at_end(); }
    bool operator!=(const byte_iterator &) const { return !source->at_end(); }
};

std::vector<std::string_view> tokens_of(std::string_view pointer) {
    std::vector<std::string_view> tokens;
    while (!pointer.empty()) {
        pointer.remove_prefix(1);
        const std::size_t end = std::min(pointer.find('/'), pointer.size());
        tokens.push_back(pointer.substr(0, end));
        pointer.remove_prefix(end);
    }
    return tokens;
}

// Receives the parser's events. A row is built in row_, all else in around_.
class row_builder {
public:
    row_builder(const json_input &input, std::string_view rows,
                const std::function<void(const json_view &)> &take)
        : source_(input.name, input.file),
          path_(tokens_of(rows)),
          take_(take),
          around_(input.name),
          row_(input.name) {}

    json_part run(const std::string &producer) {
        while (!source_.at_end() &&
               std::string_view(" \t\r\n").find(source_.front()) != std::string_view::npos) {
            source_.pop();
        }
        if (source_.at_end()) {
            throw input_error(
                fmt::format("{}: is empty, not even an empty JSON value; did {} fail?",
                            around_.name, producer));
        }
        if (source_.front() != '[' && source_.front() != '{') {
            hint_ = fmt::format("; is this the output of {}?", producer);
        }
        json::sax_parse(byte_iterator{&source_}, byte_iterator{nullptr}, this);
        return std::move(around_);
    }

    bool null() { return store(nullptr); }
    bool boolean(bool value) { return store(value); }
    bool number_integer(json::number_integer_t value) { return store(value); }
    bool number_unsigned(json::number_unsigned_t value) { return store(value); }
    bool number_float(json::number_float_t value, const std::string &) { return store(value); }
    bool string(std::string &value) { return store(std::move(value)); }
    bool binary(json::binary_t &) { return false; } // never in a text
    bool start_object(std::size_t) { return open(json::value_t::object); }
    bool start_array(std::size_t) { return open(json::value_t::array); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }

    bool key(std::string &name) {
        auto &object = *open_.back()->get_ptr<json::object_t *>();
        const auto [member, is_new] = object.try_emplace(std::move(name));
        if (!is_new) {
            fail(
                fmt::format("the member {} appears twice in one object", in_quotes(member->first)));
        }
        member_ = &*member;
        return true;
    }

    bool parse_error(std::size_t, const std::string &, const json::exception &error) {
        // After the parser's own account of the place, which counts differently.
        const std::string_view what = error.what();
        const std::size_t start = std::min(what.find("syntax error"), what.find("number overflow"));
        fail(shortened(start == what.npos ? what : what.substr(start)) + hint_);
    }

private:
    [[noreturn]] void fail(const std::string &what) const {
        throw input_error(fmt::format("{}: {}", source_.place(), what));
    }

    // The innermost open value is the list of rows.
    bool is_in_rows() const {
        return on_path_ == open_.size() && open_.size() == path_.size() + 1 &&
               open_.back()->is_array();
    }

    // The next value of the innermost open one is on the way to the rows.
    bool is_next_on_path() const {
        if (open_.empty()) {
            return true;
        }
        if (on_path_ != open_.size() || open_.size() > path_.size()) {
            return false;
        }
        return path_[open_.size() - 1] == (open_.back()->is_array() ? "*" : member_->first);
    }

    json *place(json &&value) {
        json *slot = around_.value.get();
        if (is_in_rows()) {
            slot = row_.value.get();
        } else if (!open_.empty() && open_.back()->is_array()) {
            return &open_.back()->emplace_back(std::move(value));
        } else if (!open_.empty()) {
            slot = &member_->second;
        }
        *slot = std::move(value);
        return slot;
    }

    template <typename Value>
    bool store(Value &&value) {
        place(json(std::forward<Value>(value)));
        return finish();
    }

    bool open(json::value_t type) {
        if (open_.size() == deepest_level) {
            fail(fmt::format("values are nested more than {} levels deep", deepest_level));
        }
        const bool is_on_path = is_next_on_path();
        json *slot = place(json(type));
        open_.push_back(slot);
        on_path_ += is_on_path ? 1 : 0;
        if (is_on_path && is_in_rows()) {
            rows_pointer_ = pointer_to_rows();
            row_in_list_ = 0;
        }
        return true;
    }

    bool close() {
        open_.pop_back();
        on_path_ = std::min(on_path_, open_.size());
        return finish();
    }

    // A value is complete: when it is a row, it is handed over and dropped.
    bool finish() {
        if (is_in_rows()) {
            row_.pointer = rows_pointer_ + '/';
            row_.pointer += fmt::format_int(row_in_list_++).c_str();
            ++row_.entry;
            take_(json_view(row_));
            *row_.value = nullptr;
        }
        return true;
    }

    std::string pointer_to_rows() const {
        std::string pointer;
        for (std::size_t level = 0; level < path_.size(); ++level) {
            pointer += '/';
            pointer += open_[level]->is_array() ? std::to_string(open_[level]->size() - 1)
                                                : std::string(path_[level]);
        }
        return pointer;
    }

    byte_source source_;
    std::vector<std::string_view> path_;
    const std::function<void(const json_view &)> &take_;
    json_part around_;
    json_part row_;
    std::string rows_pointer_;
    std::size_t row_in_list_ = 0; // of the next row
    std::string hint_;            // after a syntax error
    std::vector<json *> open_; // the arrays and objects around the next value, the innermost last
    std::size_t on_path_ = 0;  // how many of them are on the way to the rows
    json::object_t::value_type *member_ = nullptr; // where the innermost object's next value goes
};

} // namespace

json_part::json_part(std::string name_of_input)
    : name(std::move(name_of_input)), value(std::make_unique<json>()) {}

json_part::json_part(json_part &&other) noexcept = default;
json_part &json_part::operator=(json_part &&other) noexcept = default;
json_part::~json_part() = default;

json_part read_json_rows(const json_input &input, std::string_view rows,
                         const std::function<void(const json_view &row)> &take) {
    return row_builder(input, rows, take).run(input.producer);
}

} // namespace feed
