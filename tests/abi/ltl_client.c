/*
 * A client that looks at ltl_payload and ltl_dealloc. Position independent, or with the library
 * linked into it, it sees the request whole, where the library has it. At a fixed address it has a
 * copy of the count, in the middle of its own variables: the count must show there, and nothing be
 * written behind it.
 */
#include <kyt.h>
#include <nerb.h>
#include <tessel.h>
#include <vell.h>

#include <stdio.h>
#include <string.h>

static int failures;
static const char *step = "at first";

static void expect(int holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "ltl_client: %s: %s\n", step, what);
        failures++;
    }
}

/* The platform, as far as the requests need it. */

enum kind { none, alloc, modify };

/* What the platform saw last. Not all zeros at first, so that it lies among other data than the
 * copy of ltl_payload. */
static struct {
    const uint8_t *payload;
    vell_ltl_entry entry;
    uint32_t if_indexes[2];
    uint16_t count;
    enum kind kind;
    char error[512];
} seen = {.count = 0xffff};

static uint32_t take(enum kind kind, const void *payload, uint32_t result) {
    seen.kind = kind;
    seen.payload = payload;
    memcpy(&seen.count, seen.payload, sizeof(seen.count));
    memcpy(&seen.entry, seen.payload + sizeof(seen.count), sizeof(seen.entry));
    memcpy(seen.if_indexes, seen.entry.if_indexes, sizeof(seen.if_indexes));
    return result;
}

/* The cookie is the result: the client has no queue. */
uint32_t nerb_send_batched_mcast_alloc_req(uint32_t queue, const void *payload, uint32_t cookie) {
    return take(alloc, payload, queue + cookie);
}
uint32_t nerb_send_batched_mcast_mod_req(uint32_t queue, const void *payload, uint32_t cookie) {
    return take(modify, payload, queue + cookie);
}
uint32_t nerb_send_batched_mcast_dealloc_msg(uint32_t queue, uint32_t count, const void *entries,
                                             uint32_t cookie) {
    expect(entries == &ltl_dealloc, "the release is not sent from where the client sees it");
    return queue + cookie + count - 1;
}

char tessel_dbg_modname[] = "ltl_client";

uint32_t tessel_hist_event_subtype_check(uint32_t module, uint32_t level) {
    return module != 0 && level != 0;
}
uint32_t tessel_hist_event(uint32_t module, uint32_t length, const void *record) {
    expect(module == 0 && length == 0 && record == NULL, "the history was to get nothing");
    return 0;
}
uint32_t tessel_chk_int(uint32_t level, uint32_t first, uint32_t second, uint32_t third) {
    return level == 0 && first == second + third;
}
uint32_t tessel_his_log_event_for_uuid_inst(uint32_t uuid, uint32_t module, uint32_t first,
                                            uint32_t second, uint32_t length, const void *record) {
    const char *const text = (const char *)record + sizeof(uint32_t);
    expect(uuid == 384 && module == 0x730000 && first == 1 && second == 0,
           "the log is not the client's");
    expect(length > sizeof(uint32_t) && length <= sizeof(uint32_t) + sizeof(seen.error),
           "the log record is no record");
    memcpy(seen.error, text, strlen(text) + 1);
    return 0;
}
void debug_print(uint32_t first, void *modname, uint32_t second, const char *format, ...) {
    expect(first == 0 && modname == NULL && second == 0 && format == NULL,
           "the console was to get nothing");
}

/* The library's objects name these; nothing here is sent to the service. */
int32_t kyt_send(uint32_t queue, uint32_t node, uint32_t sap, uint32_t opcode, const void *payload,
                 uint32_t length, kyt_msg_ref *reference, uint32_t flags, const uint32_t *options) {
    expect(queue + node + sap + opcode + length + flags == 0 && payload == reference &&
               options == NULL,
           "the service was to get nothing");
    return -1;
}
void kyt_drop(uint32_t queue, kyt_msg_ref *reference) {
    expect(queue == 0 && reference == NULL, "there was nothing to drop");
}
void *kyt_payload_get(void *message) {
    expect(message == NULL, "there was no message");
    return NULL;
}

/* The client. */

static const uint32_t if_indexes[] = {0x41424344, 0x51525354};

/* As many interfaces as no memory holds a copy of. */
static const uint32_t too_many = 0x3fffffff;

struct operation {
    enum kind kind;
    int (*call)(uint32_t, uint32_t, const uint32_t *, uint32_t, uint32_t);
    const char *not_built;
    const char *refused;
};

static void read_behind(uint8_t *bytes) {
    const uint8_t *const volatile start = (const uint8_t *)&ltl_payload;
    const volatile uint8_t *const visible = start;
    size_t i;
    for (i = 0; i < sizeof(vell_ltl_entry); i++)
        bytes[i] = visible[sizeof(ltl_payload) + i];
}

/* The bytes behind the count: the entry, or as they were. */
static void expect_behind(const vell_ltl_entry *entry, const uint8_t *before) {
    uint8_t behind[sizeof(*entry)];
    read_behind(behind);
    if (COUNT_IS_A_COPY)
        expect(memcmp(behind, before, sizeof(behind)) == 0,
               "the client's own variables were overwritten");
    else
        expect(memcmp(behind, entry, sizeof(behind)) == 0, "the entry does not show");
}

static void expect_request(const struct operation *operation, uint32_t cookie, const char *error) {
    uint8_t before[sizeof(vell_ltl_entry)];
    vell_ltl_entry entry = {.key1 = 0x11121314, .key2 = 0x21222324, .if_index_count = 2};

    memset(&seen, 0, sizeof(seen));
    read_behind(before);
    expect(operation->call(0x11121314, 2, if_indexes, 0x21222324, cookie) == (cookie == 0),
           "the result is wrong");
    expect(seen.kind == operation->kind, "the request is not the operation's");
    expect(seen.count == 1, "one entry was to be sent");
    expect(memcmp(seen.if_indexes, if_indexes, sizeof(if_indexes)) == 0,
           "the interfaces were not sent");
    expect((seen.payload == (const uint8_t *)&ltl_payload) == !COUNT_IS_A_COPY,
           "the request is not where it should be");
    expect(strcmp(seen.error, error) == 0, "the last error is another");

    entry.if_indexes = seen.entry.if_indexes;
    expect(memcmp(&seen.entry, &entry, sizeof(entry)) == 0, "the entry that was sent is wrong");
    expect(ltl_payload.count == 1, "the count does not show");
    expect_behind(&entry, before);
}

static void expect_no_memory(const struct operation *operation, uint16_t count) {
    uint8_t before[sizeof(vell_ltl_entry)];
    const vell_ltl_entry entry = {.key1 = 0x31323334, .key2 = 0x41424344, .if_index_count = 0xffff};

    memset(&seen, 0, sizeof(seen));
    read_behind(before);
    expect(operation->call(0x31323334, too_many, if_indexes, 0x41424344, 0) == 0,
           "the result is wrong");
    expect(seen.kind == none, "nothing was to be sent");
    expect(strcmp(seen.error, operation->not_built) == 0, "the last error is another");
    expect(ltl_payload.count == count, "the count is not as before");
    expect_behind(&entry, before);
}

static void expect_release(uint32_t key, uint32_t cookie, const char *error) {
    memset(&seen, 0, sizeof(seen));
    expect(vell_nerb_l2_ltl_dealloc(key, key + 1, cookie) == (cookie == 0), "the result is wrong");
    expect(strcmp(seen.error, error) == 0, "the last error is another");
    expect(ltl_dealloc.key1 == key && ltl_dealloc.key2 == key + 1 && ltl_dealloc.reserved == 0,
           "the release does not show");
}

static void expect_zeros_at_first(void) {
    const vell_ltl_entry zeros = {.key1 = 0};
    uint8_t before[sizeof(vell_ltl_entry)];
    read_behind(before);
    expect(ltl_payload.count == 0, "the count is not 0");
    expect_behind(&zeros, before);
    expect(ltl_dealloc.key1 == 0 && ltl_dealloc.key2 == 0 && ltl_dealloc.reserved == 0,
           "the release is not 0");
}

int main(void) {
    const struct operation operations[] = {
        {alloc, vell_nerb_l2_ltl_alloc,
         "vell_nerb_l2_ltl_alloc(1512):ERROR: failure to build nerb payload\n",
         "vell_nerb_l2_ltl_alloc(1523):ERROR: NERB ltl alloc API returned error 98\n"},
        {modify, vell_nerb_l2_ltl_modify,
         "vell_nerb_l2_ltl_modify(1576):ERROR: failure to build nerb payload\n",
         "vell_nerb_l2_ltl_modify(1587):ERROR: NERB ltl alloc API returned error 98\n"},
    };
    size_t i;

    expect_zeros_at_first();
    for (i = 0; i < 2; i++) {
        ltl_payload.count = 0;
        step = i == 0 ? "alloc" : "modify";
        expect_no_memory(&operations[i], 0);
        expect_request(&operations[i], 0, "");
        expect_no_memory(&operations[i], 1);
        ltl_payload.count = 0;
        expect_request(&operations[i], 98, operations[i].refused);
        ltl_payload.count = 0x7172;
        expect_no_memory(&operations[i], 0x7172);
    }
    step = "release";
    expect_release(7, 0, "");
    expect_release(
        9, 98, "vell_nerb_l2_ltl_dealloc(1551):ERROR: NERB ltl dealloc API returned error 98\n");
    return failures == 0 ? 0 : 1;
}
