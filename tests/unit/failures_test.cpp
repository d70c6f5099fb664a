// Every failure of the platform and every shortage of memory in a client's day, one after the
// other: the operation that it happens in keeps its promise, the next call works, and the rest of
// the day is the day in which nothing fails.
#include "../abi/signatures.h"
#include "failures_day.h"
#include "library_allocations.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>
#include <set>

namespace {

using fake::platform;

// What a platform function returns at one call in place of what the day has it return, and whether
// it writes its outputs.
struct Fault {
    std::uint32_t value = 0;
    bool written = false;
};

// What a fault means for the operation that it happens in.
enum class Effect {
    none,       // the platform's own business
    closed,     // the log sink that was asked for takes no message
    unappended, // nothing is reported, but the append position is where it was
    promised    // the next promise of the operation's row says
};

constexpr std::uint32_t statuses[] = {1, 0x80000000, 0xffffffff};

// A platform function as it appears in the calls of a day.
struct Function {
    const void *identity = nullptr;
    std::function<void(unsigned call, std::uint32_t value)> returns_at = {};
    std::vector<Fault> faults = {};
    std::function<Effect(const Fault &)> effect = [](const Fault &) { return Effect::none; };

    bool has_promises() const {
        return std::any_of(faults.begin(), faults.end(), [this](const Fault &fault) {
            return effect(fault) == Effect::promised;
        });
    }
};

template <typename Result>
Function function_of(fake::Behaviour<Result> &behaviour) {
    return {.identity = &behaviour, .returns_at = [&behaviour](unsigned call, std::uint32_t value) {
                if constexpr (std::is_pointer_v<Result>)
                    behaviour.returns_at(call, nullptr);
                else
                    behaviour.returns_at(call, static_cast<Result>(value));
            }};
}

template <typename Result>
Function with_values(fake::Behaviour<Result> &behaviour,
                     std::initializer_list<std::uint32_t> values, Effect effect) {
    auto function = function_of(behaviour);
    for (const auto value : values)
        function.faults.push_back({.value = value});
    function.effect = [=](const Fault &) { return effect; };
    return function;
}

// A function that returns a status. With outputs, every failure comes with and without them.
Function with_statuses(fake::Behaviour<std::uint32_t> &behaviour, bool outputs, Effect effect) {
    auto function = function_of(behaviour);
    for (const auto status : statuses)
        for (const bool written : {false, true})
            if (outputs || !written)
                function.faults.push_back({.value = status, .written = written});
    function.effect = [=](const Fault &) { return effect; };
    return function;
}

struct FunctionOf {
    Function operator()(const fake::Send &) const {
        auto function = function_of(platform().kyt_send);
        function.faults = {{0xffffffff, false}, {0xffffffff, true}, {1},
                           {0xfffffffe},        {0x7fffffff},       {0x80000000}};
        function.effect = [](const Fault &fault) {
            return fault.value == 0xffffffff ? Effect::promised : Effect::none;
        };
        return function;
    }
    Function operator()(const fake::PayloadGet &) const {
        return with_values(platform().kyt_payload_get, {0}, Effect::promised);
    }
    Function operator()(const fake::AppendTlv &) const {
        auto function = with_statuses(platform().append_tlv, true, Effect::none);
        function.effect = [](const Fault &fault) {
            return fault.written ? Effect::none : Effect::unappended;
        };
        return function;
    }
    Function operator()(const fake::NextTlv &) const {
        return with_statuses(platform().next_tlv, true, Effect::promised);
    }
    Function operator()(const fake::NumTlvs &) const {
        return with_values(platform().num_tlvs, {0, 1, 2, 3, 0x7fffffff, 0x80000000, 0xffffffff},
                           Effect::promised);
    }
    Function operator()(const fake::SizeGet &) const {
        return with_values(platform().size_get, {0, 4, 48, 0xffffffcc, 0xffffffff},
                           Effect::promised);
    }
    Function operator()(const fake::IfIndexType &) const {
        return with_statuses(platform().if_index_type, true, Effect::promised);
    }
    Function operator()(const fake::IfIndexFields &) const {
        return with_statuses(platform().if_index_fields, true, Effect::promised);
    }
    Function operator()(const fake::LtlList &call) const {
        const bool alloc = call.request == fake::ListRequest::alloc;
        return with_statuses(alloc ? platform().ltl_alloc : platform().ltl_modify, false,
                             Effect::promised);
    }
    Function operator()(const fake::LtlRelease &) const {
        return with_statuses(platform().ltl_release, false, Effect::promised);
    }
    Function operator()(const fake::FloodUpdate &) const {
        return with_statuses(platform().flood_update, false, Effect::promised);
    }
    Function operator()(const fake::RspStatus &) const {
        return with_statuses(platform().rsp_status, true, Effect::promised);
    }
    Function operator()(const fake::RspEntryCount &) const {
        return with_statuses(platform().rsp_entry_count, true, Effect::promised);
    }
    Function operator()(const fake::RspInfo &) const {
        return with_statuses(platform().rsp_info, true, Effect::promised);
    }
    Function operator()(const fake::AllocEntryCount &) const {
        return with_statuses(platform().alloc_entry_count, true, Effect::promised);
    }
    Function operator()(const fake::AllocRspParm &) const {
        return with_statuses(platform().alloc_rsp_parm, true, Effect::promised);
    }
    Function operator()(const fake::HistoryCheck &) const {
        return with_statuses(platform().history_check, false, Effect::closed);
    }
    Function operator()(const fake::ConsoleCheck &) const {
        auto function =
            with_values(platform().console_check, {0, 2, 0x80000000, 0xffffffff}, Effect::none);
        function.effect = [](const Fault &fault) {
            return fault.value == 0 ? Effect::closed : Effect::none;
        };
        return function;
    }
    Function operator()(const fake::HistoryEvent &) const {
        return with_statuses(platform().history_event, false, Effect::none);
    }
    Function operator()(const fake::ClientLog &) const {
        return with_statuses(platform().client_log, false, Effect::none);
    }
    // These return nothing.
    Function operator()(const fake::Drop &) const { return {}; }
    Function operator()(const fake::AddressCopy &) const { return {}; }
    Function operator()(const fake::DebugPrint &) const { return {}; }
};

Function function_of_call(const fake::Call &call) {
    return std::visit(FunctionOf(), call);
}

// Where two runs of bytes differ first.
std::string first_difference(const bytes &actual, const bytes &expected) {
    const auto [is, should] =
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    if (is == actual.end() && should == expected.end())
        return {};
    return "byte " + std::to_string(is - actual.begin()) + " differs";
}

void expect_seen(const Seen &actual, const Seen &expected) {
    if (actual == expected)
        return;
    EXPECT_EQ(actual.result, expected.result);
    EXPECT_TRUE(fake::same_calls(actual.calls, expected.calls));
    EXPECT_EQ(first_difference(actual.buffer, expected.buffer), "") << "in the caller's buffer";
    EXPECT_EQ(actual.callers_references, expected.callers_references);
    const auto &is = actual.state;
    const auto &should = expected.state;
    EXPECT_EQ(is.client, should.client);
    EXPECT_EQ(is.tlvs, should.tlvs);
    EXPECT_EQ(is.lists, should.lists);
    EXPECT_EQ(first_difference(is.scratch, should.scratch), "") << "in vell_mrib_buf";
    EXPECT_EQ(first_difference(is.ltl_request, should.ltl_request), "") << "in ltl_payload";
    EXPECT_EQ(first_difference(is.ltl_release, should.ltl_release), "") << "in ltl_dealloc";
}

// What goes wrong in a day, where, and what should be seen then.
struct Disturbance {
    std::size_t operation;
    std::string what;
    std::function<void()> begin;
    Effect effect;
    Seen expected;
};

class FailuresTest : public LibraryTest {
protected:
    FailuresTest() {
        for (const auto &operation : day_)
            inputs_.push_back(patched(pattern(day_buffer_size), 0, operation.input));
        start_day();
        for (std::size_t i = 0; i < day_.size(); ++i) {
            states_.push_back(library_state());
            undisturbed_.push_back(perform(i));
            allocations_of_.push_back(allocations_.take_sizes().size());
        }
    }

    void start_day() {
        reset_library();
        clear_ltl_requests();
        // What differs from day to day is left out of the calls, and a release says whether it is
        // that of the last message.
        platform().callers_reference = &callers_reference;
        platform().kyt_drop.runs([] {
            auto &send = std::get<fake::Drop>(platform().calls.back()).send;
            send = send != 0 && send == platform().sent.size();
        });
        platform().ipv6_addr_copy.runs(
            [] { std::get<fake::AddressCopy>(platform().calls.back()).to = nullptr; });
        platform().size_get.runs([this] {
            auto &array = std::get<fake::SizeGet>(platform().calls.back()).array;
            array = array == buffer_ + sizeof(vell_mrib_route) ? array : nullptr;
        });
        platform().next_tlv.runs([] {
            auto &next = std::get<fake::NextTlv>(platform().calls.back());
            next.value_was = next.value_was == nullptr ? nullptr : next.array;
        });
    }

    Seen perform(std::size_t number) {
        const auto &operation = day_[number];
        std::copy(inputs_[number].begin(), inputs_[number].end(), buffer_);
        if (operation.arrange != nullptr)
            operation.arrange();
        Seen seen;
        seen.result = operation.call(buffer_);
        seen.calls = fake::take_calls();
        seen.state = library_state();
        seen.buffer.assign(std::begin(buffer_), std::end(buffer_));
        seen.callers_references = release_callers_references();
        EXPECT_EQ(platform().unreleased_references(), 0U);
        EXPECT_EQ(allocations_.unreleased(), 0U);
        EXPECT_EQ(allocations_.wrong_releases(), 0U);
        return seen;
    }

    void disturb(const Disturbance &disturbance) {
        start_day();
        for (std::size_t i = 0; i < day_.size() && !HasFailure(); ++i) {
            const bool disturbed = i == disturbance.operation;
            if (disturbed)
                disturbance.begin();
            expect_seen(perform(i), disturbed ? disturbance.expected : undisturbed_[i]);
            if (HasFailure())
                ADD_FAILURE() << (disturbed ? "in " : "in a call before or after ") << context(i);
            if (!disturbed)
                continue;
            platform().failures_write_outputs.reset();
            if (disturbance.effect == Effect::promised)
                expect_seen(perform(i), undisturbed_[i]);
            else if (disturbance.effect == Effect::unappended)
                set_tlv_cursor(undisturbed_[i].state.tlvs);
            if (HasFailure())
                ADD_FAILURE() << "in the next call of " << context(i);
        }
        if (HasFailure())
            ADD_FAILURE() << "the disturbed call is " << context(disturbance.operation) << ", "
                          << disturbance.what;
    }

    std::string context(std::size_t number) const {
        return std::string(day_[number].name) + ", operation " + std::to_string(number + 1) +
               " of the day";
    }

    // What should be seen when the call number `at` of the operation, or an allocation before it,
    // fails.
    Seen promised(std::size_t number, const Promise &promise, std::size_t calls,
                  const Fault &fault) const {
        const auto &done = undisturbed_[number];
        const auto first = done.calls.begin();
        Failure failure = {
            .undisturbed = done,
            .operation = day_[number].name,
            .status = fault.value,
            .written = fault.written,
            .expected = {.calls = {first, first + static_cast<std::ptrdiff_t>(calls)},
                         .state = states_[number],
                         .buffer = inputs_[number]},
            .next_call = calls,
        };
        promise(failure);
        return failure.expected;
    }

    const std::vector<Operation> day_ = day_of_a_client();
    std::vector<bytes> inputs_;
    std::vector<LibraryState> states_; // before each operation
    std::vector<Seen> undisturbed_;
    std::vector<std::size_t> allocations_of_;
    LibraryAllocations allocations_;

private:
    static unsigned release_callers_references() {
        unsigned released = 0;
        for (auto &reference : platform().sent)
            if (reference.whose == fake::Reference::callers && !reference.released) {
                reference.released = true;
                ++released;
            }
        return released;
    }

    alignas(16) std::uint8_t buffer_[day_buffer_size];
};

TEST_F(FailuresTest, TheDayHasEveryFunctionOfTheHeader) {
#define NAME(name, result, arguments) #name,
#define SETTER_NAME(name) "vell_mrib_set_flags_" #name,
#define TESTER_NAME(name) "vell_mrib_is_flags_" #name,
    const std::set<std::string> all = {VELL_SIGNATURES(NAME) VELL_FLAG_SETTERS(SETTER_NAME)
                                           VELL_FLAG_TESTERS(TESTER_NAME)};
    std::set<std::string> called;
    for (const auto &operation : day_)
        called.insert(operation.name);
    EXPECT_EQ(called, all);
}

TEST_F(FailuresTest, WithoutAFailureEveryOperationDoesWhatItIsThereFor) {
    for (std::size_t i = 0; i < day_.size(); ++i) {
        SCOPED_TRACE(context(i));
        EXPECT_EQ(undisturbed_[i].result, day_[i].result);
        EXPECT_EQ(undisturbed_[i].callers_references, day_[i].gives_reference);
        for (const auto &call : undisturbed_[i].calls) {
            const auto *const drop = std::get_if<fake::Drop>(&call);
            EXPECT_TRUE(drop == nullptr || drop->send == 1) << "not the last message's reference";
        }
    }
}

TEST_F(FailuresTest, EveryCallThatMayFailHasItsPromise) {
    for (std::size_t i = 0; i < day_.size(); ++i) {
        const auto &calls = undisturbed_[i].calls;
        EXPECT_EQ(day_[i].failures.size(),
                  std::count_if(
                      calls.begin(), calls.end(),
                      [](const fake::Call &call) { return function_of_call(call).has_promises(); }))
            << context(i);
        EXPECT_EQ(day_[i].without_memory.size(), allocations_of_[i]) << context(i);
    }
}

TEST_F(FailuresTest, EveryPlatformCallFailsOnce) {
    std::map<const void *, unsigned> calls_of;
    for (std::size_t i = 0; i < day_.size(); ++i) {
        std::size_t promises = 0;
        for (std::size_t at = 0; at < undisturbed_[i].calls.size(); ++at) {
            const auto &call = undisturbed_[i].calls[at];
            const auto function = function_of_call(call);
            const auto number = ++calls_of[function.identity];
            for (const auto &fault : function.faults) {
                const auto effect = function.effect(fault);
                auto expected = undisturbed_[i];
                if (effect == Effect::promised)
                    expected = promised(i, day_[i].failures.at(promises), at + 1, fault);
                else if (effect == Effect::closed)
                    expected.calls.erase(expected.calls.begin() +
                                         static_cast<std::ptrdiff_t>(at + 1));
                else if (effect == Effect::unappended)
                    expected.state.tlvs = states_[i].tlvs;
                disturb({.operation = i,
                         .what = "in which " + fake::to_line(call) + " returns " +
                                 std::to_string(static_cast<std::int32_t>(fault.value)) +
                                 (fault.written ? " and writes its outputs" : ""),
                         .begin =
                             [&] {
                                 function.returns_at(number, fault.value);
                                 platform().failures_write_outputs = fault.written;
                             },
                         .effect = effect,
                         .expected = expected});
                ASSERT_FALSE(HasFailure());
            }
            promises += function.has_promises();
        }
    }
}

TEST_F(FailuresTest, EveryAllocationFailsOnce) {
    for (std::size_t i = 0; i < day_.size(); ++i)
        for (unsigned number = 1; number <= allocations_of_[i]; ++number) {
            const auto &promise = day_[i].without_memory.at(number - 1);
            disturb({.operation = i,
                     .what = "in which allocation " + std::to_string(number) + " fails",
                     .begin = [&] { allocations_.fail(number); },
                     .effect = Effect::promised,
                     .expected = promised(i, promise, day_[i].calls_before_memory, {})});
            ASSERT_FALSE(HasFailure());
        }
}

} // namespace
