/*
 * A client that looks at ltl_payload. Position independent, it sees the request whole, where the library has it. At a
 * fixed address it has a copy of the count, in the middle of its own variables: the count must show there, and nothing
 * be written behind it.
 */
#include <nerb.h>
#include <tessel.h>
#include <vell.h>

#include <stdio.h>
#include <string.h>

static int failures;

static void expect(int holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "ltl_client: %s\n", what);
        failures++;
    }
}

/* The platform, as far as the requests need it. */

/* The last request. Not all zeros at first, so that it lies among other data than the copy of ltl_payload. */
static struct {
    const uint8_t *payload;
    vell_ltl_entry entry;
    uint16_t count;
} sent = {.count = 0xffff};

uint32_t nerb_send_batched_mcast_alloc_req(uint32_t queue, const void *payload, uint32_t cookie) {
    sent.payload = payload;
    memcpy(&sent.count, sent.payload, sizeof(sent.count));
    memcpy(&sent.entry, sent.payload + sizeof(sent.count), sizeof(sent.entry));
    return queue + cookie;
}
uint32_t nerb_send_batched_mcast_mod_req(uint32_t queue, const void *payload, uint32_t cookie) {
    return nerb_send_batched_mcast_alloc_req(queue, payload, cookie);
}
uint32_t nerb_send_batched_mcast_dealloc_msg(uint32_t queue, uint32_t count, const void *entries, uint32_t cookie) {
    expect(entries == &ltl_dealloc, "the release is not sent from where the client sees it");
    return queue + cookie + count - 1;
}

char tessel_dbg_modname[] = "ltl_client";

int main(void) {
    const uint32_t if_indexes[] = {0x41424344, 0x51525354};
    const uint8_t *const volatile start = (const uint8_t *)&ltl_payload;
    const volatile uint8_t *const visible = start;
    uint8_t behind[sizeof(vell_ltl_entry)];
    size_t i;

    expect(ltl_payload.count == 0, "the count is not 0 at first");
    for (i = 0; i < sizeof(behind); i++)
        behind[i] = visible[sizeof(ltl_payload) + i];

    expect(vell_nerb_l2_ltl_alloc(0x11121314, 2, if_indexes, 0x21222324, 0) == 1, "the request was not sent");
    expect(sent.count == 1, "one entry was to be sent");
    expect(sent.entry.key1 == 0x11121314 && sent.entry.key2 == 0x21222324, "the keys were not sent");
    expect(sent.entry.if_index_count == 2, "two interfaces were to be sent");
    expect(ltl_payload.count == 1, "the count does not show");
    expect((sent.payload == (const uint8_t *)&ltl_payload) == !AT_FIXED_ADDRESS,
           "the request is not where it should be");
    for (i = 0; i < sizeof(behind); i++) {
        if (AT_FIXED_ADDRESS)
            expect(visible[sizeof(ltl_payload) + i] == behind[i], "the client's own variables were overwritten");
        else
            expect(visible[sizeof(ltl_payload) + i] == ((const uint8_t *)&sent.entry)[i], "the entry does not show");
    }

    expect(vell_nerb_l2_ltl_dealloc(7, 8, 0) == 1, "the release was not sent");
    expect(ltl_dealloc.key1 == 7 && ltl_dealloc.key2 == 8 && ltl_dealloc.reserved == 0, "the release does not show");
    return failures == 0 ? 0 : 1;
}
