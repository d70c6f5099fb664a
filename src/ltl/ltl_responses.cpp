#include "client/byte_order.h"
#include "client/log.h"

#include <nerb.h>
#include <vell.h>

#include <cstdint>

namespace vell {

namespace {

static_assert(sizeof(nerb_rsp_info) == 16 && sizeof(nerb_alloc_ltl_rsp_parm) == 12);

constexpr std::uint32_t alloc_reply_kind = 13;

// The results may go to any address.
void store_results(std::uint32_t *result1, std::uint32_t value1, std::uint32_t *result2,
                   std::uint32_t value2) {
    store(reinterpret_cast<std::uint8_t *>(result1), value1);
    store(reinterpret_cast<std::uint8_t *>(result2), value2);
}

// Whether a reply reports success overall and has one entry; that is all that was asked for.
bool reports_one_success(log_function function, const void *rsp) {
    std::uint32_t status = 0;
    const std::uint32_t no_status = nerb_parse_rsp_status(rsp, &status);
    if (no_status != 0 || status != 0) {
        vell_log(log_error, function, 1654, "%s(%d):ERROR: NERB rsp returned err=%d, status=%d",
                 no_status, status);
        return false;
    }
    std::uint32_t count = 0;
    const std::uint32_t no_count = nerb_parse_rsp_get_entry_count(rsp, &count);
    if (no_count != 0 || count != 1) {
        vell_log(log_error, function, 1662,
                 "%s(%d):ERROR: NERB get returned err=%d with entry count (%d)", no_count, count);
        return false;
    }
    return true;
}

} // namespace

} // namespace vell

using namespace vell;

int vell_nerb_handle_l2_response(const void *rsp, std::uint32_t *result1, std::uint32_t *result2) {
    static constexpr char function[] = "vell_nerb_handle_l2_response";
    if (!reports_one_success(function, rsp))
        return 0;
    nerb_rsp_info info = {};
    const std::uint32_t failure = nerb_parse_rsp_get_rsp_info(rsp, 1, &info);
    const std::uint32_t status = info.word[3];
    if (failure != 0 || status != 0) {
        vell_log(log_error, function, 1669,
                 "%s(%d):ERROR: NERB info returned err=%d in parsing resp, status:%d", failure,
                 status);
        return 0;
    }
    store_results(result1, info.word[0], result2, info.word[2]);
    return 1;
}

int vell_nerb_handle_l2_alloc_response(const void *rsp, std::uint32_t *result1,
                                       std::uint32_t *result2) {
    static constexpr char function[] = "vell_nerb_handle_l2_alloc_response";
    std::uint32_t status = 0;
    std::uint16_t count = 0;
    const std::uint32_t no_count =
        nerb_parse_alloc_ltl_get_entry_count(rsp, &status, alloc_reply_kind, &count);
    if (no_count != 0 || status != 0 || count != 1) {
        vell_log(log_error, function, 1616,
                 "%s(%d):ERROR: NERB get returned err=%d, status=%d, count=%d", no_count, status,
                 count);
        return 0;
    }
    nerb_alloc_ltl_rsp_parm parm = {};
    const std::uint32_t failure =
        nerb_parse_alloc_ltl_rsp_parm(rsp, &status, alloc_reply_kind, &parm);
    if (failure != 0 || status != 0) {
        vell_log(log_error, function, 1623, "%s(%d):ERROR: NERB parm returned err=%d, status=%d",
                 failure, status);
        return 0;
    }
    store_results(result1, parm.word[1], result2, parm.word[2]);
    return 1;
}
