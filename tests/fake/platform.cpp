#include "fake/platform.h"

#include <algorithm>
#include <utility>

namespace fake {

Platform &platform() {
    static Platform the_platform;
    return the_platform;
}

void reset_platform() {
    platform() = Platform{};
}

Calls take_calls() {
    return std::exchange(platform().calls, {});
}

void Platform::holds_tlvs(std::vector<Tlv> found) {
    tlvs = std::move(found);
    num_tlvs.returns(static_cast<std::int32_t>(tlvs.size()));
}

unsigned Platform::unreleased_references() const {
    return static_cast<unsigned>(
        std::count_if(sent.begin(), sent.end(), [](const SentReference &reference) {
            return reference.whose != Reference::callers && !reference.released;
        }));
}

Reference Platform::whose(const kyt_msg_ref *reference) const {
    if (reference == nullptr)
        return Reference::null;
    return reference == callers_reference ? Reference::callers : Reference::own;
}

} // namespace fake
