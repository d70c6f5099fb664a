/*
 * libvell: hands multicast forwarding state to the vell service, which programs the switch's
 * hardware.
 *
 * A process opens a transport queue, registers as a client of the service with vell_register,
 * passes the service's answer to vell_register_ack, and from then on describes routes and sends
 * them. This header is the whole interface and its reference. It needs nothing but <stdint.h>, and
 * compiles as C99 and as C++.
 *
 * CONVENTIONS
 *
 * Results: a function that sends or registers returns 1 when it did and 0 when it did not; there
 * are no error codes. 0 from a send leaves the client registered. The three functions that compute
 * a flood set's delta without sending it return 0 when they did, and otherwise the status of the
 * platform's function that failed. What a failure logs is said with each function; where nothing is
 * said, nothing is logged.
 *
 * Threads: the library starts none and locks nothing. Its state, this header's exported variables
 * included, is the process's; call it from one thread at a time. Every function runs to its end in
 * the caller's thread, and sends at once: there is no queue inside, no retry and no timer.
 *
 * Bytes: every multi-byte field of a record or message is in host (little-endian) byte order,
 * unless its own comment says otherwise. IPv4 addresses are carried as the caller gives them.
 *
 * Records: the records below are wire formats. They may lie at any address, odd ones included, and
 * over any buffer of bytes: their types have alignment 1 and may alias others. Bytes called
 * reserved are never written by the library and go out as they are, so clear the bytes of a record
 * before filling it, the head of its TLV array included: of a route without lists nobody else
 * writes that head.
 *
 * Ownership: buffers stay the caller's. No pointer is kept after a call returns; only the append
 * position below and the last LTL requests are kept, as numbers. Nothing is allocated but where a
 * function's comment says so, with the C library's allocator; what is allocated is released before
 * the call returns, whatever comes of it, unless it is the call's result.
 *
 * Checks: only what a function's comment says is checked. A null record, a list that outgrows
 * vell_mrib_buf, or a message that is shorter than its records are the caller's to avoid: they are
 * passed through unchecked on purpose.
 *
 * Registered: "needs an acknowledged client" means that a client id (from vell_register_ack) and a
 * queue handle (from vell_register or vell_register_kyt_q) are held; without both the function
 * sends nothing and returns 0.
 *
 * The LTL manager's answers: requests to the LTL manager are answered later, on the queue that they
 * left from. The library neither waits for an answer nor keeps what was asked. The caller receives
 * the message with the platform's calls, finds out which request it answers, and hands it to the
 * function that reads such answers:
 *
 *     request                             read with
 *     vell_send_l2_mc_update_flood_ltl    vell_handle_l2_mc_update_flood_ltl_resp
 *     vell_nerb_l2_ltl_alloc              vell_nerb_handle_l2_alloc_response
 *     vell_nerb_l2_ltl_modify             vell_nerb_handle_l2_response
 *     vell_nerb_l2_ltl_dealloc            vell_nerb_handle_l2_response
 *
 * How an answer is told from other messages, and where it has its request's cookie or context, is
 * the manager's business. The reading functions look at neither: they take an answer to another
 * request that is read the same way, or one that has come before, as readily. 0 from
 * vell_nerb_handle_l2_response or vell_nerb_handle_l2_alloc_response does not tell a refusal from a
 * message that is no such answer; what it logs does. That a request was sent means that the
 * manager's client library took it, and no more. One that no answer came to may have been carried
 * out all the same, or may be yet; the library sends nothing again. Of the switch on the desk,
 * nerb_desk.h says what its manager answers.
 *
 * Log: messages, errors and traces, go to the platform's event history, its debug console and the
 * log of the client's uuid. Each starts with the function's name and, in brackets, a number that
 * identifies the message and is the same in every release; it is given below with what logs it.
 * "ERROR: " or "TRACE: " follows, but for traces in the client's log.
 */
#ifndef VELL_H
#define VELL_H

#include <stdint.h>

#define VELL_API __attribute__((visibility("default")))
#define VELL_RECORD __attribute__((packed, may_alias))

#ifdef __cplusplus
extern "C" {
#endif

/* The transport's message reference, declared in full by the transport's own header, kyt.h. */
struct kyt_msg_ref;

/* -------------------------------------------------------------------------------------------------
 * Registration
 * ---------------------------------------------------------------------------------------------- */

/* The longest name of a shared memory segment, its terminating NUL not counted. */
#define VELL_SHM_NAME_MAX 239

/*
 * vell_register sends the register request from `queue`, for the client with `uuid`. `shm_name` is
 * the name of the client's shared memory segment, NUL-terminated, at most VELL_SHM_NAME_MAX bytes;
 * the library only passes it on. For the uuids 286 and 592 the name is not read and may be null;
 * for every other it must not be null.
 *
 * Returns 1 when the request was sent: queue and uuid are held from then on, and the client id
 * comes with the answer. Returns 0, and changes nothing, when a client id or a queue is held
 * already (trace 93; a queue given with vell_register_kyt_q counts), when the name is too long
 * (error 106), or when the send failed (error 135). What it logs is kept under the uuid that was
 * held before the call, 384 when there was none.
 */
VELL_API uint32_t vell_register(uint32_t queue, uint32_t uuid, const char *shm_name);

/*
 * vell_register_ack reads the service's answer to the registration. `message` is the transport's
 * handle of the received message; it stays the caller's.
 *
 * Returns 1 when the service accepted and gave a client id other than 0, which is held from then
 * on. An accepted id of 0 is stored too, and returns 0 with no log. When the service refused, or
 * the message has no payload, it logs trace 180, sets the client id to 0, keeps queue and uuid, and
 * returns 0. To register anew after a refusal, an id of 0, or when no answer came, give the queue
 * back first, with vell_register_kyt_q(0): vell_deregister does nothing for a client that has no
 * id.
 */
VELL_API uint32_t vell_register_ack(void *message);

/*
 * vell_deregister ends the registration: it tells the service and forgets client id, queue and
 * uuid.
 *
 * Needs an acknowledged client. Returns 1 when deregistered. Returns 0 when not, and when the send
 * failed, in which case the client stays registered. Logs nothing.
 */
VELL_API uint32_t vell_deregister(void);

/*
 * vell_register_kyt_q gives the library a queue handle without registering. 0 takes it back.
 * Nothing is checked or logged. While a queue is held, vell_register refuses.
 */
VELL_API void vell_register_kyt_q(uint32_t queue);

/* -------------------------------------------------------------------------------------------------
 * Route records
 * ---------------------------------------------------------------------------------------------- */

/*
 * A multicast route as it goes on the wire: this head of 40 bytes, and directly behind it an
 * aligned TLV array that holds the route's lists. What the opcodes, the flags and the epoch mean is
 * the service's business.
 *
 *       0               1               2               3
 *      +---------------+---------------+---------------+---------------+
 *   0  | opcode        | reserved                                      |
 *   4  | flags, 64 bits                                                |
 *   8  |                                                               |
 *  12  | source length | group length  | reserved                      |
 *  16  | epoch                                                         |
 *  20  | source                                                        |
 *  24  | group                                                         |
 *  28  | RPF interface                                                 |
 *  32  | DF ordinal    | reserved                                      |
 *  36  | table id                                                      |
 *      +---------------+---------------+---------------+---------------+
 *  40  | TLV array ...
 */
typedef struct VELL_RECORD vell_mrib_route {
    uint8_t opcode;
    uint8_t reserved1[3];
    uint64_t flags;
    uint8_t source_length;
    uint8_t group_length;
    uint8_t reserved2[2];
    uint32_t epoch;
    uint32_t source;
    uint32_t group;
    uint32_t rpf_if;
    uint8_t df_ordinal;
    uint8_t reserved3[3];
    uint32_t table_id;
} vell_mrib_route;

/*
 * The named flags: FLAG(bit, setter, tester) and SET_ONLY(bit, setter). Bit 12 goes by two names,
 * bit 23 is tested by another name than it is set by, bit 25 has no tester, and bits 14 and 26 to
 * 63 have no name.
 */
#define VELL_MRIB_FLAG_TABLE(FLAG, SET_ONLY)                                                       \
    FLAG(0, direct, direct)                                                                        \
    FLAG(1, local_addr, local_addr)                                                                \
    FLAG(2, drop_route, drop_route)                                                                \
    FLAG(3, local_group, local_group)                                                              \
    FLAG(4, count_pfx, count_pfx)                                                                  \
    FLAG(5, set_df_bits, set_df_bits)                                                              \
    FLAG(6, rpf_only, rpf_only)                                                                    \
    FLAG(7, download, download)                                                                    \
    FLAG(8, download_done, download_done)                                                          \
    FLAG(9, come_up_route, come_up_route)                                                          \
    FLAG(10, drop_on_rpf_fail, drop_on_rpf_fail)                                                   \
    FLAG(11, wildcard_route, wildcard_route)                                                       \
    FLAG(12, overlay_decap, overlay_decap)                                                         \
    FLAG(12, decap, decap)                                                                         \
    FLAG(13, svrf_download, svrf_download)                                                         \
    FLAG(15, non_rpf_check, non_rpf_check)                                                         \
    FLAG(16, even_route, even_route)                                                               \
    FLAG(17, odd_route, odd_route)                                                                 \
    FLAG(18, dux_forward_all, dux_forward_all)                                                     \
    FLAG(19, dux_forward_even, dux_forward_even)                                                   \
    FLAG(20, dux_forward_odd, dux_forward_odd)                                                     \
    FLAG(21, dux_src_rp_l3, dux_src_rp_l3)                                                         \
    FLAG(22, dux_none_forwarder, dux_none_forwarder)                                               \
    FLAG(23, dux_rpf_is_svi, dux_rpf_check)                                                        \
    FLAG(24, dux_l3src_behind_peer, dux_l3src_behind_peer)                                         \
    SET_ONLY(25, dux_forward_none)

/* The flags' masks in vell_mrib_route.flags, by the setters' names: vell_mrib_flag_direct = 0x1 and
 * so on. */
#define VELL_MRIB_SETTER_MASK(bit, setter) vell_mrib_flag_##setter = 1 << bit,
#define VELL_MRIB_FLAG_MASK(bit, setter, tester) vell_mrib_flag_##setter = 1 << bit,
enum vell_mrib_flag { VELL_MRIB_FLAG_TABLE(VELL_MRIB_FLAG_MASK, VELL_MRIB_SETTER_MASK) };
#undef VELL_MRIB_FLAG_MASK
#undef VELL_MRIB_SETTER_MASK

/*
 * vell_mrib_set_flags_<name>(route) sets the flag and leaves the others as they are.
 * vell_mrib_is_flags_<name>(route) returns 1 when the flag is set and 0 when it is not.
 */
#define VELL_MRIB_FLAG_SETTER(bit, setter)                                                         \
    VELL_API void vell_mrib_set_flags_##setter(vell_mrib_route *route);
#define VELL_MRIB_FLAG_ACCESSORS(bit, setter, tester)                                              \
    VELL_API void vell_mrib_set_flags_##setter(vell_mrib_route *route);                            \
    VELL_API int vell_mrib_is_flags_##tester(const vell_mrib_route *route);
VELL_MRIB_FLAG_TABLE(VELL_MRIB_FLAG_ACCESSORS, VELL_MRIB_FLAG_SETTER)
#undef VELL_MRIB_FLAG_ACCESSORS
#undef VELL_MRIB_FLAG_SETTER

/* vell_mrib_set_flags replaces the whole flag word, unnamed bits included. */
VELL_API void vell_mrib_set_flags(vell_mrib_route *route, uint64_t flags);

/* vell_mrib_set_flag_init clears the whole flag word. */
VELL_API void vell_mrib_set_flag_init(vell_mrib_route *route);

/* vell_mrib_set_opcode stores the operation on this route: the low byte of `opcode`. */
VELL_API void vell_mrib_set_opcode(vell_mrib_route *route, uint32_t opcode);

/* vell_mrib_set_source stores the IPv4 source address and its mask length. Neither is checked or
 * masked. */
VELL_API void vell_mrib_set_source(vell_mrib_route *route, uint32_t address, uint8_t mask_length);

/* vell_mrib_set_group stores the IPv4 group address and its mask length. Neither is checked or
 * masked. */
VELL_API void vell_mrib_set_group(vell_mrib_route *route, uint32_t address, uint8_t mask_length);

/* vell_mrib_set_epoch stores the route's epoch. */
VELL_API void vell_mrib_set_epoch(vell_mrib_route *route, uint32_t epoch);

/* vell_mrib_set_rpfif stores the interface index of the RPF interface; vell_mrib_get_rpfif returns
 * it. */
VELL_API void vell_mrib_set_rpfif(vell_mrib_route *route, uint32_t if_index);
VELL_API uint32_t vell_mrib_get_rpfif(const vell_mrib_route *route);

/* vell_mrib_set_df_ordinal stores the designated forwarder's ordinal: the low byte of `ordinal`. */
VELL_API void vell_mrib_set_df_ordinal(vell_mrib_route *route, uint32_t ordinal);

/* vell_mrib_set_table_id stores the id of the route table. */
VELL_API void vell_mrib_set_table_id(vell_mrib_route *route, uint32_t table_id);

/* -------------------------------------------------------------------------------------------------
 * Lists of a route: outgoing interfaces (OIFs), MTI encapsulations, GLT encapsulations
 *
 * A list is opened with its begin function, filled entry by entry, and closed with its end
 * function, which appends it to the route's TLV array. All three lists are built at the start of
 * vell_mrib_buf: have one open at a time, the others before or after it, in any order. Opening a
 * list drops what another open list holds.
 *
 * The append position in the TLV array is kept in p_current_tlv_addr and current_tlv_size from one
 * list of a route to the next. The first list of another route starts that route's own array, and
 * vell_send_v4_mroute_update resets the position. Fill one route after the other, and give up a
 * half-filled message by setting both to 0. Nothing checks the room behind the route: it is the
 * caller's buffer.
 * ---------------------------------------------------------------------------------------------- */

/* A list as it is built and as it goes on the wire: the number of entries, and the entries directly
 * behind it. */
typedef struct VELL_RECORD vell_mrib_list {
    uint32_t count;
} vell_mrib_list;

typedef vell_mrib_list vell_oif_list; /* of vell_oif_entry, TLV type 0 */
typedef vell_mrib_list vell_mti_list; /* of vell_mti_entry, TLV type 1 */
typedef vell_mrib_list vell_glt_list; /* of vell_glt_entry, TLV type 2 */

/* An outgoing interface. `kind` is one of enum vell_oif_kind. */
typedef struct VELL_RECORD vell_oif_entry {
    uint32_t if_index;
    uint32_t kind;
} vell_oif_entry;

/* An MTI encapsulation: four words whose meaning is the service's. */
typedef struct VELL_RECORD vell_mti_entry {
    uint32_t words[4];
} vell_mti_entry;

/* A GLT encapsulation. What the words mean is the service's; `data_length` says how many bytes of
 * `data` count. */
#define VELL_GLT_DATA_MAX 36
typedef struct VELL_RECORD vell_glt_entry {
    uint32_t words[4];
    uint8_t data[VELL_GLT_DATA_MAX];
    uint32_t data_length;
    uint32_t last_word;
} vell_glt_entry;

/* The kinds of outgoing interfaces: KIND(value, name). */
#define VELL_OIF_KIND_TABLE(KIND)                                                                  \
    KIND(0, reg)                                                                                   \
    KIND(1, vprime)                                                                                \
    KIND(4, duxsvi)                                                                                \
    KIND(8, duxbidir_rpf)                                                                          \
    KIND(12, dux_bidir_rpf_duxsvi)

#define VELL_OIF_KIND_VALUE(value, name) vell_oif_kind_##name = value,
enum vell_oif_kind { VELL_OIF_KIND_TABLE(VELL_OIF_KIND_VALUE) };
#undef VELL_OIF_KIND_VALUE

/* The scratch area in which the open list is built. */
#define VELL_MRIB_BUF_SIZE 120832
VELL_API extern uint8_t vell_mrib_buf[VELL_MRIB_BUF_SIZE];

/* The list being built, or null when the list is closed. Setting one to null closes that list and
 * appends nothing. */
VELL_API extern vell_oif_list *vell_oifs;
VELL_API extern vell_mti_list *mti_oifs;
VELL_API extern vell_glt_list *glt_oifs;

/* Where the TLV array's next TLV goes, as an address, and the array's size so far. Both 0: the next
 * list starts one. */
VELL_API extern uint32_t p_current_tlv_addr;
VELL_API extern uint32_t current_tlv_size;

/* vell_mrib_add_..._begin opens the list, empty. */
VELL_API void vell_mrib_add_oifs_begin(void);
VELL_API void vell_mrib_add_mti_encap_begin(void);
VELL_API void vell_mrib_add_glt_encap_begin(void);

/*
 * vell_mrib_add_<kind>_oif adds an outgoing interface of that kind: vell_mrib_add_reg_oif,
 * vell_mrib_add_vprime_oif and so on. Ignored while the OIF list is closed. The buffer's end is not
 * checked, here as in the other add functions: vell_mrib_buf has room for 15103 OIFs, 7551 MTI or
 * 2013 GLT encapsulations, and a TLV for 8191, 4095 or 1092.
 */
#define VELL_OIF_KIND_ADDER(value, name)                                                           \
    VELL_API void vell_mrib_add_##name##_oif(uint32_t if_index);
VELL_OIF_KIND_TABLE(VELL_OIF_KIND_ADDER)
#undef VELL_OIF_KIND_ADDER

/* vell_mrib_add_mti_encap adds an MTI encapsulation. Ignored while the MTI list is closed. */
VELL_API void vell_mrib_add_mti_encap(uint32_t word0, uint32_t word1, uint32_t word2,
                                      uint32_t word3);

/*
 * vell_mrib_add_glt_encap adds a GLT encapsulation. Ignored while the GLT list is closed.
 * `data_length` bytes are copied from `data`, which may be null when there are none; keep them at
 * VELL_GLT_DATA_MAX or below. More are copied all the same, over the entry's last two words and
 * whatever follows. Bytes of the data field that are not given keep what the buffer held.
 */
VELL_API void vell_mrib_add_glt_encap(uint32_t word0, uint32_t word1, uint32_t word2,
                                      uint32_t word3, const void *data, uint32_t data_length,
                                      uint32_t last_word);

/*
 * vell_mrib_add_..._end appends the list to the route's TLV array as one TLV and closes it. The
 * TLV's length keeps its low 16 bits only. When the list is closed, nothing happens; when it is
 * empty, nothing is appended and it stays open. That the TLV array refused the TLV is not reported.
 */
VELL_API void vell_mrib_add_oifs_end(vell_mrib_route *route);
VELL_API void vell_mrib_add_mti_encap_end(vell_mrib_route *route);
VELL_API void vell_mrib_add_glt_encap_end(vell_mrib_route *route);

/*
 * vell_mrib_test_add_... appends a whole list of `count` entries in one call. It is built in
 * vell_mrib_buf, over whatever list is open there, and no list is opened or closed. With a null
 * array or a count of 0, nothing happens.
 */
VELL_API void vell_mrib_test_add_oiflist(vell_mrib_route *route, const vell_oif_entry *entries,
                                         uint32_t count);
VELL_API void vell_mrib_test_add_mti_oif(vell_mrib_route *route, const vell_mti_entry *entries,
                                         uint32_t count);
VELL_API void vell_mrib_test_add_glt_oif(vell_mrib_route *route, const vell_glt_entry *entries,
                                         uint32_t count);

/* vell_mrib_get_route_size returns the bytes of a filled route, head and TLV array: the next one
 * follows directly. */
VELL_API uint32_t vell_mrib_get_route_size(const vell_mrib_route *route);

/*
 * vell_mrib_get_max_route_size returns 8 n_oif + 16 n_mti + 60 n_glt + 56, modulo 2^32, to size a
 * message buffer by before a route is filled. It has room for the head of one TLV. Where TLV heads
 * take 4 bytes it is 4 bytes short for a route with two lists and 12 bytes short for one with
 * three: add that much.
 */
VELL_API uint32_t vell_mrib_get_max_route_size(uint32_t n_oif, uint32_t n_mti, uint32_t n_glt);

/* -------------------------------------------------------------------------------------------------
 * Route messages
 * ---------------------------------------------------------------------------------------------- */

/* The head of a route message; `route_count` route records follow it back to back. */
typedef struct VELL_RECORD vell_mrib_message {
    uint8_t client_id;
    uint8_t reserved1;
    uint16_t route_count;
    uint16_t marker;
    uint8_t reserved2[2];
} vell_mrib_message;

/*
 * vell_send_v4_mroute_update sends a message of `length` bytes, head and route records, that the
 * caller has built. The library writes the client id, `route_count` and `marker` into its head and
 * looks at nothing else. `reference` receives the transport's message reference; after a success it
 * is the caller's, to release with kyt_drop on the queue that was registered. After a failure there
 * is nothing to release.
 *
 * Needs an acknowledged client. Returns 1 when sent, 0 when not. Once it has tried to send,
 * whatever came of it, the next list starts a fresh TLV array (p_current_tlv_addr and
 * current_tlv_size are 0). Logs nothing.
 */
VELL_API uint32_t vell_send_v4_mroute_update(void *message, uint32_t length, uint16_t route_count,
                                             uint16_t marker, struct kyt_msg_ref *reference);

/*
 * vell_send_v6_mroute_update sends the IPv6 route notice: three values whose meaning is the
 * service's.
 *
 * Needs an acknowledged client, and logs error 700 without one. Returns 1 when sent, 0 when not; a
 * failed send logs nothing.
 */
VELL_API uint32_t vell_send_v6_mroute_update(uint32_t first, uint32_t second, uint16_t third);

/* The dux forwarding roles: ROLE(value, name). Each is told to the service by the route flag
 * dux_<name>. */
#define VELL_DUX_ROLE_TABLE(ROLE)                                                                  \
    ROLE(1, forward_all)                                                                           \
    ROLE(2, forward_even)                                                                          \
    ROLE(3, forward_odd)                                                                           \
    ROLE(4, forward_none)

#define VELL_DUX_ROLE_VALUE(value, name) vell_dux_role_##name = value,
enum vell_dux_role { VELL_DUX_ROLE_TABLE(VELL_DUX_ROLE_VALUE) };
#undef VELL_DUX_ROLE_VALUE

/*
 * vell_mrib_send_dux_role_update sends a route message that carries the dux role, one of enum
 * vell_dux_role. Any other value is sent as no role at all, with no flag set.
 *
 * Needs an acknowledged client. Returns 1 when sent, 0 when not. Logs nothing, and leaves the TLV
 * append position alone.
 */
VELL_API uint32_t vell_mrib_send_dux_role_update(uint32_t role);

/* vell_mrib_send_dux_role_<name>() is vell_mrib_send_dux_role_update with the role of that name. */
#define VELL_DUX_ROLE_SENDER(value, name) VELL_API uint32_t vell_mrib_send_dux_role_##name(void);
VELL_DUX_ROLE_TABLE(VELL_DUX_ROLE_SENDER)
#undef VELL_DUX_ROLE_SENDER

/*
 * vell_mrib_get_mroute_tlv_info reads the entry counts of a filled route's lists back. A list that
 * the route does not have counts 0; of two lists of a kind the last one counts.
 *
 * Returns the number of TLVs in the route's array. A TLV of another type than the three lists' ends
 * the reading and its type is returned; when the TLV array cannot be read on, its status is
 * returned; the counts read until then stand. The result alone does not tell these three apart. An
 * array that claims more than 255 TLVs is read until it cannot be read on. With a null route it
 * returns 0 and leaves the counts alone.
 */
VELL_API uint32_t vell_mrib_get_mroute_tlv_info(const vell_mrib_route *route, uint32_t *n_oif,
                                                uint32_t *n_mti, uint32_t *n_glt);

/* -------------------------------------------------------------------------------------------------
 * Route statistics
 *
 * A route is named by table id, source and group, each address with its mask length in bits.
 * Nothing of it is checked or masked. The answer of the service does not pass through this library:
 * the caller receives it on its queue, and its form is between the caller and the service.
 *
 * Each needs an acknowledged client, and logs "Client not registered" without one. Each returns 1
 * when the transport took the request and 0 when not.
 * ---------------------------------------------------------------------------------------------- */

/*
 * vell_send_v4_mroute_stats_req asks for the counters of an IPv4 route and, when `clear_counters`
 * is not 0, to clear them; the service gets the value as it is. Logs error 823 without a client,
 * error 847 when the send failed, and trace 851 when counters are to be cleared and the request
 * went out.
 */
VELL_API int vell_send_v4_mroute_stats_req(uint32_t table_id, uint32_t source,
                                           uint8_t source_length, uint32_t group,
                                           uint8_t group_length, uint32_t clear_counters);

/*
 * vell_send_v4_mroute_clear_req asks to clear the counters of an IPv4 route. Logs error 941 without
 * a client, and error 964, which speaks of a "stat req", when the send failed.
 */
VELL_API int vell_send_v4_mroute_clear_req(uint32_t table_id, uint32_t source,
                                           uint8_t source_length, uint32_t group,
                                           uint8_t group_length);

/*
 * vell_send_v6_mroute_stats_req asks for the counters of an IPv6 route. `source` and `group` are
 * addresses of 16 bytes in network order, anywhere in memory, and are only read. Logs error 885
 * without a client; a failed send logs nothing.
 */
VELL_API int vell_send_v6_mroute_stats_req(uint32_t table_id, const void *source,
                                           uint8_t source_length, const void *group,
                                           uint8_t group_length);

/*
 * vell_send_v6_mroute_clear_req asks to clear the counters of an IPv6 route, given as above. Logs
 * error 999 without a client, and error 1022, which speaks of a "stat req", when the send failed.
 */
VELL_API int vell_send_v6_mroute_clear_req(uint32_t table_id, const void *source,
                                           uint8_t source_length, const void *group,
                                           uint8_t group_length);

/* -------------------------------------------------------------------------------------------------
 * IGMP snooping and layer-2 multicast
 *
 * A snooping client registers, and from then on sends its changes in layer-2 messages: records of
 * type 21 for what came and of type 22 for what went. Where a batch of changes takes several
 * messages, the first one's flags ask for a begin marker and the last one's for an end marker; of a
 * single message's, for both. Markers without a message are sent with
 * vell_send_igmp_oob_notification. When all that the client knew at its start is handed over, it
 * tells so with vell_send_igmp_download_complete. examples/snooping_client.c does all of it.
 * ---------------------------------------------------------------------------------------------- */

/*
 * vell_send_igmp_oob_notification sends an out-of-band marker: 1 begins a batch of layer-2 updates,
 * 2 ends it. Any other value is sent as well.
 *
 * Needs a queue, not an id: it goes out while the registration is not yet acknowledged, too.
 * Returns 1 when sent. Returns 0 without a queue (error 596) and when the send failed (error 609).
 */
VELL_API int vell_send_igmp_oob_notification(uint32_t marker);

/*
 * vell_send_igmp_download_complete tells the service that the client has handed over all it had.
 *
 * Needs an acknowledged client, and logs error 548 without one. Returns 1 when sent, 0 when not; a
 * failed send logs nothing.
 */
VELL_API int vell_send_igmp_download_complete(void);

/* vell_send_igmp_snoop_update does nothing and returns 1. It is kept for clients that call it. */
VELL_API int vell_send_igmp_snoop_update(void);

/*
 * A layer-2 message is this header and `count` records back to back, built by the caller in host
 * byte order. The library converts it to network order where it lies: every field below of 16 or 32
 * bits, except the records' lengths.
 */
typedef struct VELL_RECORD vell_l2_message {
    uint8_t client_id; /* written by the library: 0 while there is none */
    uint8_t reserved;  /* the caller's, as it is */
    uint16_t count;    /* written by the library: the caller's argument */
    uint16_t value;    /* written by the library: the caller's argument */
    uint16_t flags;    /* the caller's, of enum vell_l2_flag */
} vell_l2_message;

enum vell_l2_flag {
    vell_l2_begin_marker = 0x0001, /* send out-of-band marker 1 before the message */
    vell_l2_end_marker = 0x0002    /* send out-of-band marker 2 after it, once it is sent */
};

/* What every record begins with. `type` says which of the records below it is. */
typedef struct VELL_RECORD vell_l2_record {
    uint8_t type;
    uint8_t reserved[7]; /* the caller's, as they are */
    uint32_t length;     /* written by the library, in host byte order: 80 and the entries' bytes */
} vell_l2_record;

/* An address. The area holds an IPv4 address as a u32 in its first 4 bytes, a MAC address in its
 * first 6, or an IPv6 address; only the IPv4 address is converted. An unknown kind ends the
 * conversion of its record: this address, its kind included, and all that comes after it stay in
 * host order. */
enum vell_l2_address_kind {
    vell_l2_address_mac = 2,
    vell_l2_address_ipv4 = 4,
    vell_l2_address_ipv6 = 8
};
typedef struct VELL_RECORD vell_l2_address {
    uint32_t kind; /* of enum vell_l2_address_kind */
    uint8_t area[16];
} vell_l2_address;

/* An entry of 8 bytes. */
typedef struct VELL_RECORD vell_l2_pair {
    uint32_t words[2];
} vell_l2_pair;

/* An entry of 32 bytes: an outgoing interface. An unknown kind ends the conversion of its record:
 * of this entry the first four words, its kind included, are converted, and the entries after it
 * stay in host order. */
enum vell_l2_oif_kind { vell_l2_oif_plain = 0, vell_l2_oif_ipv6 = 1, vell_l2_oif_if_index = 2 };
#define VELL_L2_OIF_SVI 0x04
typedef struct VELL_RECORD vell_l2_oif {
    uint32_t kind;  /* of enum vell_l2_oif_kind: what `value` holds */
    uint32_t flags; /* VELL_L2_OIF_SVI: a VLAN interface */
    uint32_t words[2];
    union VELL_RECORD {
        uint32_t if_index; /* converted, of kind vell_l2_oif_if_index alone */
        uint8_t ipv6[16];  /* as it is */
    } value;
} vell_l2_oif;

/*
 * The records, up to where their entries begin. A record's size is not that of its structure: it is
 * VELL_L2_RECORD_BYTES and its entries' bytes, and the entries begin inside the former. One of type
 * 21 with 3 entries is 80 + 3 * 32 bytes long, its entries begin at byte 78, and the 2 bytes behind
 * the last one go out as they are.
 *
 * What the words, the halves and the addresses mean is the service's business. An address that
 * stands for none, such as the source of an entry for any source, is an address of a known kind
 * with an area of zeros: kind 0 is unknown.
 *
 * Records of other types are not converted: such a record's length becomes that of the record
 * before it, or 0, and the next record is looked for that much further on. None of this is
 * reported.
 */
#define VELL_L2_RECORD_BYTES 80u

typedef struct VELL_RECORD vell_l2_pairs_record { /* types 8 and 9 */
    vell_l2_record head;
    uint32_t word0;
    uint32_t count; /* of vell_l2_pair */
    uint32_t word1;
} vell_l2_pairs_record;

typedef struct VELL_RECORD vell_l2_bare_pairs_record { /* types 10 and 11 */
    vell_l2_record head;
    uint32_t count; /* of vell_l2_pair */
} vell_l2_bare_pairs_record;

typedef struct VELL_RECORD vell_l2_vlan_record { /* types 12 to 15 */
    vell_l2_record head;
    uint32_t words[3];
    uint32_t vlan;
    uint16_t half;
    vell_l2_address addresses[2];
    uint32_t count; /* of vell_l2_oif */
} vell_l2_vlan_record;

enum { vell_l2_lookup_mode = 18 };
typedef struct VELL_RECORD vell_l2_lookup_mode_record { /* type 18 */
    vell_l2_record head;
    uint32_t word;
    uint32_t count; /* of vell_l2_pair */
} vell_l2_lookup_mode_record;

enum { vell_l2_mbd_add = 21, vell_l2_mbd_delete = 22 };
typedef struct VELL_RECORD vell_l2_mbd_record { /* types 21 and 22 */
    vell_l2_record head;
    uint32_t words[5];
    uint16_t half;
    vell_l2_address addresses[2];
    uint32_t count; /* of vell_l2_oif */
} vell_l2_mbd_record;

/*
 * vell_send_l2_mc_update converts the message in `buffer` and sends it, `length` bytes as they are
 * then. `count` is the number of its records; `value` goes into its header and means what the
 * service takes it to mean. `length` and the records are not checked against each other. `msg_ref`
 * is the address of the caller's message reference, a kyt_msg_ref, as a number; it goes to the
 * transport as it is. After a success the reference is the caller's to release, with kyt_drop on
 * the queue that was registered.
 *
 * The header's flags ask for out-of-band markers around the message, sent as
 * vell_send_igmp_oob_notification sends them; what comes of them does not change the result. Needs
 * a queue, not an id. Returns 1 when the message was sent. Returns 0 without a queue (error 422;
 * the buffer is untouched), and when the send failed, which is not logged: a begin marker has gone
 * out, no end marker follows. Traces: the markers (436, 514), each record of type 21 or 22 (478)
 * and of type 18 (486), once it is converted, whether or not the message is sent then.
 *
 * A buffer is for one call. It stays converted, after a failed send too, and in network order its
 * counts are other numbers: a second call would read and write far beyond its end. Build the
 * message anew to send it again.
 */
VELL_API int vell_send_l2_mc_update(uint8_t *buffer, uint32_t length, uint16_t count,
                                    uint16_t value, uint32_t msg_ref);

/* -------------------------------------------------------------------------------------------------
 * Overlay notifications
 *
 * These are sent from a queue that the caller gives, whether a client is registered or not. Each
 * returns 1 when sent and 0 when not: silently when the queue is 0 or a pointer is null, with an
 * error when the send failed.
 * ---------------------------------------------------------------------------------------------- */

/* What an overlay message begins with, in host byte order. `length` is that of the whole message,
 * this head included; it is believed. What follows is between the overlay and the service. */
typedef struct VELL_RECORD vell_zeb_message {
    uint16_t type;
    uint16_t length;
} vell_zeb_message;

/*
 * vell_send_zeb_feature_disable tells that the overlay is disabled: as type 1 when `flag` is 0, as
 * type 3 when it is not. Logs error 323.
 */
VELL_API int vell_send_zeb_feature_disable(uint32_t queue, uint32_t flag);

/*
 * vell_send_zeb_vlans_disable sends a message that tells which VLANs are disabled: a
 * vell_zeb_message and what the caller has put behind it. The library writes its type, 2, into
 * `buffer`, where it stays whatever comes of the send. Logs error 370.
 */
VELL_API int vell_send_zeb_vlans_disable(uint32_t queue, void *buffer);

/*
 * vell_send_zeb_route_update sends an overlay route message as it is, whatever its type. `reply`
 * receives the message reference; after a success it is the caller's, to release with kyt_drop on
 * the same queue. Logs error 281.
 */
VELL_API int vell_send_zeb_route_update(uint32_t queue, const void *buffer,
                                        struct kyt_msg_ref *reply);

/* -------------------------------------------------------------------------------------------------
 * Flood sets
 *
 * The LTL manager floods a VLAN's frames to a set of outgoing interfaces. It is told what changed:
 * for each VLAN, the interfaces that were added and removed, and the line cards that the VLAN now
 * floods to. The caller describes its VLANs twice, as they were and as they are, in layer-2
 * messages of one vell_l2_vlan_record a VLAN, in host byte order. Of those the library reads the
 * records' `vlan` and `count` and the entries' VELL_L2_OIF_SVI flag and `value.if_index`, and
 * nothing else: neither the message's header nor the types of records and entries. It sorts the
 * entries of each record by interface index, where they lie.
 * ---------------------------------------------------------------------------------------------- */

/* One change of a flood set. */
enum vell_flood_operation { vell_flood_added = 1, vell_flood_removed = 2 };
typedef struct VELL_RECORD vell_flood_update {
    uint32_t if_index;
    uint32_t operation; /* of enum vell_flood_operation */
} vell_flood_update;

/* What changed for one VLAN: this head, and `update_count` updates directly behind it. */
typedef struct VELL_RECORD vell_flood_delta {
    uint32_t vlan;
    uint8_t reserved1[8]; /* 0 */
    uint32_t flc_bitmask; /* bit n: the VLAN floods to a physical Ethernet port on line card n */
    uint8_t reserved2[4]; /* 0 */
    uint32_t update_count;
} vell_flood_delta;

/* The request to the LTL manager: this head, and `vlan_count` deltas with their updates back to
 * back behind it. */
typedef struct VELL_RECORD vell_flood_payload {
    uint32_t vlan_count;
} vell_flood_payload;

/*
 * vell_oif_comp compares two vell_l2_oif by their interface index, unsigned, for qsort: 1 when the
 * first is greater, -1 when it is smaller, 0 when they are equal. Logs nothing.
 */
VELL_API int vell_oif_comp(const void *first, const void *second);

/*
 * vell_set_flc_bitmask sets the bit of the line card that the interface is on, modulo 32, in
 * `flc_bitmask`, which may lie at any address. Other bits stay. An interface that is no physical
 * Ethernet port sets no bit.
 *
 * Returns 0, for such an interface too. Otherwise it returns the status of the interface library's
 * function that failed, and leaves the bitmask alone: if_index_get_type (error 1055) or
 * if_index_phy_eth_get_fields (error 1063). Needs no client.
 */
VELL_API uint32_t vell_set_flc_bitmask(uint32_t *flc_bitmask, uint32_t if_index);

/*
 * vell_find_oiflist_delta computes what changed for one VLAN, from its entries as they were and as
 * they are, into `delta`. It sorts both arrays and merges them: of an interface in both, nothing is
 * written; of one in the new array alone, that it was added; of one in the old array alone, that it
 * was removed. Kept and added interfaces have their line card set in the bitmask, as by
 * vell_set_flc_bitmask; the bitmask is never cleared. The updates are in ascending order of
 * interface index.
 *
 * An entry of the new array with the SVI flag is passed over (trace 1121), so that an SVI in both
 * arrays is reported as removed. But once the last old entry is matched or passed, the rest of the
 * new ones are added without a look at the flag; where there are no old entries at all, those from
 * the first one without the flag on. Of entries with equal indexes, each matches one; which comes
 * first is not defined.
 *
 * The room behind `delta` is the caller's to provide: for `old_count` + `new_count` updates at
 * most. Of the head only the bitmask and `update_count` are written. With both counts 0 nothing is
 * written at all (trace 1109), and 0 returned; the arrays are not looked at. An array with a count
 * of 0 may be null; no other pointer may. The C library's sort may take memory of its own, and does
 * without where there is none.
 *
 * Returns 0, having traced the bitmask (1201) and the updates (1202, and 1206 for each). When an
 * interface's line card cannot be found, it returns the status of vell_set_flc_bitmask at once,
 * having logged an error of its own as well: 1134 for a kept interface, 1158 for an added one, 1175
 * for an added one behind all old entries. Then bits and updates that were written stay, but
 * `update_count` is not written, and the arrays are sorted. Needs no client.
 */
VELL_API int32_t vell_find_oiflist_delta(vell_l2_oif *old_entries, uint32_t old_count,
                                         vell_l2_oif *new_entries, uint32_t new_count,
                                         vell_flood_delta *delta);

/*
 * vell_build_nerb_flood_ltl_pyld fills `payload` from two messages of `vlan_count` records each,
 * for the same VLANs in the same order; that they are is not checked, and the VLAN ids are those of
 * the old message. The payload must be all zeros, and have room for its head and for each VLAN a
 * delta of as many updates as it has old and new entries. With a count of 0 only that is written,
 * and the messages may be null.
 *
 * Returns 0, or at once what vell_find_oiflist_delta returned, whose logs are all there are but
 * trace 1244 for each VLAN. The count and the deltas so far stay written then, the last one as
 * vell_find_oiflist_delta left it. Needs no client.
 */
VELL_API int32_t vell_build_nerb_flood_ltl_pyld(void *old_buffer, void *new_buffer,
                                                uint16_t vlan_count, vell_flood_payload *payload);

/*
 * vell_send_l2_mc_update_flood_ltl tells the LTL manager in one request how the flood sets of a
 * batch of VLANs changed. The two messages must have records for the same VLANs in the same order.
 * `old_length` and `new_length` are not read, nor checked against the records. `context` goes to
 * the manager's client library as it is, beside the request, and must not be null; what it is for
 * is the manager's business, and the library does not look at what it points to. The request is
 * allocated, and released before the call returns.
 *
 * Needs a queue, not an id. Returns 1 when the manager's client library took the request; the
 * manager's answer comes later, for vell_handle_l2_mc_update_flood_ltl_resp, and tells of each VLAN
 * whether its change was made. Returns 0 when a pointer is null (error 1295), when the counts
 * differ (1300), without a queue (1310), when the VLANs of a record differ (1332), when there is no
 * memory (1352), when a delta could not be computed (1361), and when the client library refused the
 * request (1368). Up to error 1352 the messages are untouched; on error 1361 they are sorted up to
 * and with the VLAN that failed, else wholly. Traces: the number of VLANs (1304), once counts are
 * found equal, and those of vell_build_nerb_flood_ltl_pyld.
 */
VELL_API uint32_t vell_send_l2_mc_update_flood_ltl(void *old_buffer, uint32_t old_length,
                                                   uint16_t old_count, void *new_buffer,
                                                   uint32_t new_length, uint16_t new_count,
                                                   void *context);

/*
 * What came of a flood update for one VLAN: a record of a layer-2 message that is in network byte
 * order already. The message's header has the number of these, and 1 as its flags when the manager
 * reported overall success, 0 otherwise. Everything else of header and records is 0.
 */
#define VELL_FLOOD_ACKNOWLEDGED 0x01
typedef struct VELL_RECORD vell_flood_result {
    uint8_t type;  /* 0 */
    uint8_t flags; /* VELL_FLOOD_ACKNOWLEDGED */
    uint8_t reserved1[22];
    uint32_t vlan; /* in network order */
    uint8_t reserved2[52];
} vell_flood_result;

/*
 * vell_handle_l2_mc_update_flood_ltl_resp reads the manager's answer to a flood update, `rsp` as
 * the caller received it, which stays the caller's. The answer has an entry of four words for each
 * VLAN: the first is the VLAN id, the fourth its status, 0 when its change was made; the other two
 * are not read. The VLANs are told in the answer's order, and not compared with what was asked. On
 * success `result`, an aligned pointer, receives a vell_l2_message with one vell_flood_result a
 * VLAN, allocated here; the caller releases it with free.
 *
 * Returns 1 when the result was built, also when VLANs were refused; each of those logs error 1454.
 * Returns 0, and null in `result`, when the answer cannot be read (errors 1404, 1411, 1418), when
 * it has no entry or more than 4095 (error 1411), and when there is no memory (error 1428). Takes
 * 64 KiB of stack. Needs no client.
 */
VELL_API uint32_t vell_handle_l2_mc_update_flood_ltl_resp(const void *rsp, uint8_t **result);

/* -------------------------------------------------------------------------------------------------
 * Multicast LTL indexes
 *
 * An LTL index stands for a set of outgoing interfaces in the hardware. The LTL manager owns them;
 * here one is asked for, its interfaces are changed, or it is given back. Nothing needs a client:
 * requests go out from the queue that is held, 0 included.
 *
 * Each request has one entry, and so must its answer. `key1` and `key2` are the entry's first two
 * words, of all three requests; `cookie` goes to the manager's client library as it is, beside the
 * request. The two results are words of the answer's entry. The library only carries all these.
 * What they mean is the manager's business: which result is the index that was allocated, say, and
 * with which keys it is changed and given back.
 * ---------------------------------------------------------------------------------------------- */

/* One multicast LTL index of a request. */
typedef struct VELL_RECORD vell_ltl_entry {
    uint32_t key1;
    uint32_t key2;
    uint32_t reserved1;      /* 0 */
    uint16_t if_index_count; /* the low 16 bits of the caller's count */
    uint16_t reserved2;      /* 0 */
    uint32_t *if_indexes;    /* the library's copy of the caller's list; dangling after the send */
    uint32_t reserved3;      /* 0 */
} vell_ltl_entry;

/* A request for LTL indexes, up to its entries. */
typedef struct VELL_RECORD vell_ltl_payload {
    uint16_t count;
} vell_ltl_payload;

/* A request to give an LTL index back. */
typedef struct VELL_RECORD vell_ltl_release {
    uint32_t key1;
    uint32_t key2;
    uint32_t reserved; /* 0 */
} vell_ltl_release;

/*
 * The last requests, as they were last built: all 0 at first, and not cleared when a request was
 * sent or failed. When the copy of an interface list could not be allocated, the entry's pointer is
 * null and `ltl_payload.count` as before. They are there to look at: what a client writes here is
 * overwritten by the next request, but for ltl_dealloc's third word.
 *
 * ltl_payload is the count alone. Its one vell_ltl_entry lies directly behind it in the library,
 * and can be found there by clients that are position independent; an executable at a fixed address
 * that loads the library has a copy of the count and nothing behind it.
 */
VELL_API extern vell_ltl_payload ltl_payload;
VELL_API extern vell_ltl_release ltl_dealloc;

/*
 * vell_nerb_l2_ltl_alloc asks for an LTL index for the interfaces in `if_indexes`, `count` of them,
 * at any address and only read. Their copy is allocated, and released before the call returns; its
 * bytes are 4 `count` modulo 2^32. The list may be null when the count is 0.
 *
 * Returns 1 when the manager's client library took the request; whether there is an index, and
 * which, is in the answer, for vell_nerb_handle_l2_alloc_response. Returns 0 when there is no
 * memory (errors 1484, of vell_nerb_build_mcast_ltl_info, and 1512), and when the client library
 * refused the request (error 1523).
 */
VELL_API int vell_nerb_l2_ltl_alloc(uint32_t key1, uint32_t count, const uint32_t *if_indexes,
                                    uint32_t key2, uint32_t cookie);

/*
 * vell_nerb_l2_ltl_modify asks to change the interfaces of an LTL index, and is like
 * vell_nerb_l2_ltl_alloc otherwise. Its errors are 1484 and 1576 without memory, and 1587, which
 * speaks of an "alloc", when the client library refused the request. Its answer is for
 * vell_nerb_handle_l2_response.
 */
VELL_API int vell_nerb_l2_ltl_modify(uint32_t key1, uint32_t count, const uint32_t *if_indexes,
                                     uint32_t key2, uint32_t cookie);

/*
 * vell_nerb_l2_ltl_dealloc gives an LTL index back. Returns 1 when the manager's client library
 * took the request, and 0 when it refused (error 1551). Its answer is for
 * vell_nerb_handle_l2_response.
 */
VELL_API int vell_nerb_l2_ltl_dealloc(uint32_t key1, uint32_t key2, uint32_t cookie);

/*
 * vell_nerb_build_mcast_ltl_info fills `entry` for a list of interfaces, as vell_nerb_l2_ltl_alloc
 * does. The copy of the list is allocated, and the caller's to release with free.
 *
 * Returns 1, or 0 when there is no memory (error 1484): then the entry is filled all the same, with
 * a null list.
 */
VELL_API int vell_nerb_build_mcast_ltl_info(uint32_t key1, uint32_t count,
                                            const uint32_t *if_indexes, uint32_t key2,
                                            vell_ltl_entry *entry);

/*
 * vell_nerb_handle_l2_response reads a general answer of the manager, to a modification or a
 * release, `rsp` as the caller received it, which stays the caller's. Of the four words of its
 * entry, `result1` receives the first and `result2` the third, at any address; the second is not
 * read, and the fourth is the entry's status, 0 for success.
 *
 * Returns 1 when the answer reports success, overall and for its one entry, whose result words are
 * stored then. Returns 0 when it does not, when it cannot be read, and when it has another number
 * of entries than one: the status (error 1654), the number of entries (1662) and the entry (1669)
 * are looked at in this order. Then nothing is stored.
 */
VELL_API int vell_nerb_handle_l2_response(const void *rsp, uint32_t *result1, uint32_t *result2);

/*
 * vell_nerb_handle_l2_alloc_response reads the answer to vell_nerb_l2_ltl_alloc, and is like
 * vell_nerb_handle_l2_response otherwise. An allocation's entry has three words: `result1` receives
 * the second and `result2` the third, and the first is not read; its status is the answer's. Its
 * errors are 1616 for the status and the number of entries, and 1623 for the entry, with which the
 * status is looked at again.
 */
VELL_API int vell_nerb_handle_l2_alloc_response(const void *rsp, uint32_t *result1,
                                                uint32_t *result2);

#ifdef __cplusplus
}
#endif

#endif
