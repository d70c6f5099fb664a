// What a function of the fake platform does when it is called: what a test told it to run, and what
// to return.
#pragma once

#include <functional>
#include <map>
#include <utility>

namespace fake {

// Runs a test's code within a platform call, so that the test sees the library at that moment or
// calls it again.
class Hook {
public:
    void runs(std::function<void()> code) { code_ = std::move(code); }

    // The calls that the code itself causes do not run it again.
    void run() {
        if (!code_ || running_)
            return;
        running_ = true;
        code_();
        running_ = false;
    }

private:
    std::function<void()> code_;
    bool running_ = false;
};

// A function that returns something. `returns` holds for every call; `returns_at` for one of them,
// the first being 1.
template <typename Result>
class Behaviour : public Hook {
public:
    explicit Behaviour(Result result) : result_(result) {}

    void returns(Result result) { result_ = result; }
    void returns_at(unsigned call, Result result) { results_at_[call] = result; }

    // Counts the call, runs the hook and tells what to return.
    Result play() {
        const auto special = results_at_.find(++calls_);
        const auto result = special == results_at_.end() ? result_ : special->second;
        run();
        return result;
    }

private:
    Result result_;
    std::map<unsigned, Result> results_at_;
    unsigned calls_ = 0;
};

} // namespace fake
