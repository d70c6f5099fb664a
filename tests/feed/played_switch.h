// A switch that a test plays request by request: it registers its client, and answers nothing else
// until the test says so.
#pragma once

#include "sim/wire/nerb_messages.h"
#include "sim/wire/protocol.h"
#include "sim/wire/vell_sim.h"
#include "tests/sim/fake_switch.h"

#include <cstring>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <span>
#include <vector>

class played_switch {
public:
    using words = std::vector<std::uint32_t>;

    struct request {
        std::uint32_t sap = 0;
        std::uint32_t opcode = 0;
        words payload = {0, 0, 0, 0};
    };

    // The next request that is neither a registration nor the end of one. `meanwhile` is called until
    // it is there. Fails the test when it does not come.
    request next(const std::function<void()> &meanwhile = [] {}) {
        const bool came = wait_until([&] {
            meanwhile();
            serve();
            return !requests_.empty();
        });
        EXPECT_TRUE(came) << "the request did not come";
        return came ? take() : request();
    }

    // Whether there is none.
    bool is_idle() {
        serve();
        return requests_.empty();
    }

    // Answers as the LTL manager does, with four words for each entry.
    void answer(const request &to, const words &entries, std::uint32_t status = 0) const {
        const sim::nerb_answer_kind *kind = sim::find_nerb_answer_kind(to.opcode);
        ASSERT_NE(kind, nullptr) << to.opcode;
        words all = {kind->kind, status, to.payload.at(0),
                     static_cast<std::uint32_t>(entries.size() / 4)};
        all.insert(all.end(), entries.begin(), entries.end());
        answer_bytes(to, std::as_bytes(std::span(all)));
    }

    // Answers as the service does.
    void answer_stats(const request &to, const vell_sim_stats &stats) const {
        answer_bytes(to, std::as_bytes(std::span(&stats, 1)));
    }

    // The VLANs of a flood update, and how many interfaces it adds to each and removes from it.
    struct flood_update {
        std::uint32_t vlan = 0;
        std::uint32_t added = 0;
        std::uint32_t removed = 0;
        friend bool operator==(const flood_update &, const flood_update &) = default;
    };
    static std::vector<flood_update> updates_of(const request &asked) {
        std::vector<flood_update> updates;
        std::size_t at = 2;
        for (std::uint32_t i = 0; i < asked.payload.at(1); ++i) {
            flood_update update{.vlan = asked.payload.at(at)};
            const std::size_t end = at + 6 + 2 * asked.payload.at(at + 5);
            for (at += 6; at < end; at += 2) {
                ++(asked.payload.at(at + 1) == VELL_SIM_FLOOD_ADD ? update.added : update.removed);
            }
            updates.push_back(update);
        }
        return updates;
    }

    // From now on nothing can be sent to it, though it could send.
    void stop_reading() const { shutdown(peer_.get(), SHUT_RD); }

private:
    void serve() {
        if (!peer_ && !there_.nobody_has_come()) {
            peer_ = there_.accept();
        }
        ssize_t size = -1;
        while (peer_ && (size = reader_.receive(peer_.get(), 65536)) > 0) {
            while (reader_.look() == sim::frame_reader::state::whole) {
                take_frame(reader_.front());
                reader_.drop_frame();
            }
        }
        if (size == 0) { // another client may come
            peer_.reset();
        }
    }

    void take_frame(const sim::frame_view &frame) {
        request came{frame.head.sap, frame.head.opcode, words(frame.payload.size() / 4)};
        std::memcpy(came.payload.data(), frame.payload.data(), came.payload.size() * 4);
        if (came.opcode == VELL_SIM_OPCODE_REGISTER) {
            const std::byte accepted[] = {std::byte{1}, std::byte{1}};
            answer_bytes(came, accepted);
        } else if (came.opcode != VELL_SIM_OPCODE_DEREGISTER) {
            requests_.push_back(std::move(came));
        }
    }

    request take() {
        request taken = std::move(requests_.front());
        requests_.pop_front();
        return taken;
    }

    void answer_bytes(const request &to, std::span<const std::byte> payload) const {
        const std::vector<std::byte> frame = sim::message_frame(to.sap, to.opcode, payload);
        const auto *const first = reinterpret_cast<const std::uint8_t *>(frame.data());
        write_all(peer_.get(), bytes(first, first + frame.size()));
    }

    sim_test::fake_switch there_;
    scoped_environment no_history_{"TESSEL_HISTORY", "off"};
    sim::file_descriptor peer_;
    sim::frame_reader reader_{sim::frame_kind::request};
    std::deque<request> requests_;
};
