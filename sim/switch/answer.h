// The answer to a question, made piece by piece while the asker reads it: however long a table is,
// an asker takes one piece of memory and a few milliseconds of a turn.
//
// A table that changes meanwhile is shown row by row as it then is: what was printed is not taken
// back, and what came before it is not shown. An answer goes on after the last key it has seen,
// which may be gone.
//
// In JSON every answer is one object: the table's rows, "matched", which is how many rows there are
// without a limit, and "narrowed": the filters of the question, or null for none.
#pragma once

#include "sim/base/output.h"
#include "sim/switch/question.h"

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace sim {

inline constexpr std::size_t answer_piece_size = 64u << 10; // a row more, at most

// The rows of an answer.
struct row_count {
    std::optional<std::uint64_t> limit{};
    std::uint64_t matched = 0;
    std::uint64_t shown = 0;

    // Counts a row that matches; whether it is shown.
    bool take() {
        ++matched;
        const bool is_shown = !limit || shown < *limit;
        shown += is_shown ? 1 : 0;
        return is_shown;
    }
};

// Where a list of items was left: elements may come and go meanwhile.
template <typename Items>
struct cursor {
    std::size_t passed = 0;

    auto resume(const Items &items) const {
        return items.begin() + static_cast<std::ptrdiff_t>(std::min(passed, items.size()));
    }
    void pass(const typename Items::value_type &) { ++passed; }
};

template <typename Items>
requires requires {
    typename Items::key_type;
}
struct cursor<Items> {
    std::optional<typename Items::key_type> last{};

    auto resume(const Items &items) const {
        return last ? items.upper_bound(*last) : items.begin();
    }
    void pass(const typename Items::value_type &item) {
        if constexpr (std::same_as<typename Items::key_type, typename Items::value_type>) {
            last = item;
        } else {
            last = item.first;
        }
    }
};

struct sender_name;

class answer {
public:
    // Prints a little more of its part of the answer; true once that is all of it.
    using part = std::function<bool(output &out, row_count &rows)>;

    struct piece {
        std::string text; // may be empty
        bool is_last = false;
    };

    // The limit and the filters are the question's.
    explicit answer(const question &asked);

    // An answer that says why there is none.
    static answer refusal(const std::string &why);
    bool is_refusal() const { return is_refusal_; }

    void add(part added) { parts_.push_back(std::move(added)); }

    // A part that is printed at once: print(out, rows).
    template <typename Print>
    void once(Print print) {
        add([print = std::move(print)](output &out, row_count &rows) mutable {
            print(out, rows);
            return true;
        });
    }

    // The elements of a map, in its order: print(out, rows, key, value) for each, which asks
    // rows.take() whether to show it. The map must outlive the answer.
    template <typename Map, typename Print>
    void each(const Map &map, Print print) {
        add([&map, print = std::move(print), at = cursor<Map>()](output &out,
                                                                 row_count &rows) mutable {
            auto row = at.resume(map);
            for (int i = 0; row != map.end() && may_go_on(out, i); ++row, ++i) {
                print(out, rows, row->first, row->second);
                at.pass(*row);
            }
            return row == map.end();
        });
    }

    // The same of elements that have many items each, and are printed item by item, too. A printer
    // has three functions: head(out, rows, key, value) opens an object and in it, last, the list of
    // items, or returns false for an element that is not shown; items(value) is a set, a map or a
    // vector; item(out, item) prints one of them.
    template <typename Map, typename Printer>
    void each_with_items(const Map &map, Printer printer) {
        using items = std::remove_cvref_t<decltype(printer.items(map.begin()->second))>;
        add([&map, printer = std::move(printer), at = cursor<Map>(),
             in = std::optional<cursor<items>>()](output &out, row_count &rows) mutable {
            for (int i = 0; may_go_on(out, i); ++i) {
                const auto row = in ? map.find(*at.last) : at.resume(map);
                if (!in) {
                    if (row == map.end()) {
                        return true;
                    }
                    at.pass(*row);
                    if (!printer.head(out, rows, row->first, row->second)) {
                        continue;
                    }
                    in.emplace();
                }
                if (row != map.end()) {
                    const items &list = printer.items(row->second);
                    auto item = in->resume(list);
                    for (; item != list.end() && may_go_on(out, i); ++item, ++i) {
                        printer.item(out, *item);
                        in->pass(*item);
                    }
                    if (item != list.end()) {
                        return false;
                    }
                }
                out.close_list();
                out.close_object();
                in.reset();
            }
            return false;
        });
    }

    // The list of the rows, and its end with "10 of 1200 routes" in text.
    void begin_rows(std::string_view name);
    void end_rows(std::string_view noun);

    // The next piece. None is left after the last one.
    piece next();

    // What a part that is printed little by little looks at: how much is enough for a piece, and
    // for a look at the clock.
    static constexpr int rows_at_once = 64;
    static bool is_enough(const output &out) { return out.size() >= answer_piece_size; }
    static bool may_go_on(const output &out, int done) {
        return done < rows_at_once && !is_enough(out);
    }

private:
    explicit answer(output_form form) : out_(form) {}

    output out_;
    row_count rows_;
    std::vector<part> parts_;
    std::size_t at_ = 0; // the part that is being printed
    std::function<void(output &out, const row_count &rows)> end_;
    bool is_refusal_ = false;
};

// The members "client" and "pid"; in text "client 3", or "pid 4711" for a sender without an id.
void print_sender(output &out, const sender_name &from);

// The members "if_index" and "name"; in text the name.
void print_interface(output &out, std::uint32_t if_index);

// A list of `count` items, in text as "    ports (3): " and the items, or "    ports: none".
void open_items(output &out, std::string_view name, std::string_view title, std::size_t count);

// The bytes in hexadecimal.
std::string hex_text(std::span<const std::byte> bytes);

} // namespace sim
