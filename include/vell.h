/*
 * libvell: hands multicast forwarding state to the vell service, which programs the switch's
 * hardware.
 *
 * A process opens a transport queue, registers as a client of the service with vell_register and
 * passes the service's answer to vell_register_ack. From then on it describes routes and sends
 * them. vell.h is the whole interface and its reference. It needs only <stdint.h>, and compiles as
 * C99 and as C++, for 32 bits.
 *
 * CONVENTIONS
 *
 * Results: a function that sends or registers returns 1 when it did and 0 when it did not; there
 * are no error codes. 0 from a send leaves the client registered. vell_set_flc_bitmask,
 * vell_find_oiflist_delta and vell_build_nerb_flood_ltl_pyld return 0 when they succeeded, and
 * otherwise the status of the platform function that failed. Each function's description says what
 * a failure logs; where it says nothing, nothing is logged.
 *
 * Threads: the library starts no thread and locks nothing. Its state, including the variables that
 * vell.h declares, belongs to the process; call it from one thread at a time. Every function runs
 * to its end in the caller's thread and sends at once: there is no queue inside, no retry and no
 * timer. A call takes as long as the platform's functions that it calls.
 *
 * Bytes: every multi-byte field of a record or message is in host (little-endian) byte order,
 * unless its own description says otherwise. The IPv4 addresses of routes and statistics requests
 * are sent as the caller gives them.
 *
 * Records: the records of vell.h are wire formats. They may be at any address, odd ones included,
 * and in any buffer of bytes: their types have alignment 1 and may alias others.
 *
 * Reserved bytes: in a record that the caller fills, the library does not write reserved bytes and
 * sends them as they are. So clear a record's bytes before filling it. Clear the head of a route's
 * TLV array too: a route without lists is sent with the head as the caller left it. In what the
 * library fills itself, reserved bytes are 0: vell_ltl_entry, vell_flood_result, and messages that
 * it builds from a function's arguments.
 *
 * Ownership: buffers remain the caller's. Of them the library keeps only the append position,
 * p_current_tlv_addr, after a call: an address that it passes to the platform and does not use
 * itself. It allocates memory only where a function's description says so, with the C library's
 * allocator. It releases that memory before the call returns, whether or not the call succeeds,
 * unless the memory is the call's result.
 *
 * Checks: only what a function's description names is checked. The caller must avoid a null pointer
 * where no description allows one, a list that outgrows vell_mrib_buf, more than VELL_GLT_DATA_MAX
 * bytes of GLT data, and a message that is shorter than its records: the library does not check for
 * them, on purpose.
 *
 * Registered: the library's queue is the queue handle from vell_register or vell_register_kyt_q.
 * "Needs an acknowledged client" means that the library has a queue and a client id, which comes
 * from vell_register_ack. When either is missing, the function sends nothing and returns 0.
 *
 * The LTL manager's answers: the library does not wait for an answer to a request to the LTL
 * manager, and does not match answers to requests. The caller receives the answer with the
 * platform's calls, finds out which request it answers, and passes it to the function that reads
 * it:
 *
 *     request                             read with
 *     vell_send_l2_mc_update_flood_ltl    vell_handle_l2_mc_update_flood_ltl_resp
 *     vell_nerb_l2_ltl_alloc              vell_nerb_handle_l2_alloc_response
 *     vell_nerb_l2_ltl_modify             vell_nerb_handle_l2_response
 *     vell_nerb_l2_ltl_dealloc            vell_nerb_handle_l2_response
 *
 * Which requests are answered, on which queue, how an answer is recognised, and where it carries
 * the request's cookie or context: all this is the manager's business. The simulator answers on the
 * queue that the request was sent from, and answers every well-formed request unless it is started
 * to misbehave. Its own header nerb_sim.h, which is installed with the simulator only, describes
 * the answers.
 *
 * The reading functions do not look at cookie or context. They also accept an answer to another
 * request that is read with the same function, and an answer that has already been read. When
 * vell_nerb_handle_l2_response or vell_nerb_handle_l2_alloc_response returns 0, only its log
 * message shows whether the manager refused the request or the message could not be read as such an
 * answer. That a request was sent means only that the manager's client library accepted it.
 * Without an answer, the manager may have carried it out all the same, or may do so later; the
 * library does not send it again.
 *
 * Log: messages are errors and traces. Each one is written to the log of the client's uuid, and to
 * the platform's event history and debug console when those accept its level. An error has level
 * 102, a trace 104, and both have module 0x730000. While no uuid is registered, the client's log is
 * that of 384. A message starts with the function's name and, in brackets, a number that identifies
 * the message and is the same in every release; the functions' descriptions give it. "ERROR: " or
 * "TRACE: " follows, except for traces in the client's log. A text is cut to 511 characters, except
 * on the console.
 */
#ifndef VELL_H
#define VELL_H

#include <stdint.h>

#if __SIZEOF_POINTER__ != 4
#error "libvell is a 32-bit library: compile with -m32"
#endif

#define VELL_API __attribute__((visibility("default")))
#define VELL_RECORD __attribute__((packed, may_alias))

#ifdef __cplusplus
extern "C" {
#endif

/* The transport's message reference. The transport's own header, kyt.h, declares it in full. */
struct kyt_msg_ref;

/* -------------------------------------------------------------------------------------------------
 * Registration
 * ---------------------------------------------------------------------------------------------- */

/* The longest name of a shared memory segment, without its terminating NUL. */
#define VELL_SHM_NAME_MAX 239

/*
 * vell_register sends the register request from `queue`, for the client with `uuid`. `shm_name` is
 * the name of the client's shared memory segment, NUL-terminated, at most VELL_SHM_NAME_MAX bytes;
 * the library only passes it on. For the uuids 286 and 592 the name is not read and may be null;
 * for every other uuid it must not be null.
 *
 * Returns 1 when the request was sent: the library then has the queue and the uuid, and the client
 * id comes with the answer. Returns 0, and changes nothing, when the library already has a client
 * id or a queue (trace 93; a queue from vell_register_kyt_q counts), when the name is too long
 * (error 106), or when the send failed (error 135). What it logs goes to the log of the uuid before
 * the call, or of 384 when there was none.
 */
VELL_API uint32_t vell_register(uint32_t queue, uint32_t uuid, const char *shm_name);

/*
 * vell_register_ack reads the service's answer to the registration. `message` is the transport's
 * handle of the received message; it remains the caller's.
 *
 * Returns 1 when the service accepted the registration and assigned a client id other than 0; the
 * library stores the id. An accepted id of 0 is stored too, but returns 0 without a log message.
 * When the service refused, or the message has no payload, the function logs trace 180, sets the
 * client id to 0, keeps queue and uuid, and returns 0. To register again after a refusal, an id of
 * 0, or a missing answer, first take the queue back with vell_register_kyt_q(0): vell_deregister
 * does nothing for a client without an id.
 *
 * It does not check that an answer is expected: it reads a late or repeated answer too, and a
 * refusal clears the id of a registered client. How the caller recognises the answer is the
 * service's business. The payload must have at least 2 bytes; its length is not checked.
 */
VELL_API uint32_t vell_register_ack(void *message);

/*
 * vell_deregister ends the registration: it notifies the service, clears the client id and the
 * queue, and sets the uuid back to 384. The queue itself remains open: it is the caller's.
 *
 * Needs an acknowledged client. Returns 1 when deregistered. Returns 0 without an acknowledged
 * client, and when the send failed; the client then remains registered. Logs nothing.
 */
VELL_API uint32_t vell_deregister(void);

/*
 * vell_register_kyt_q gives the library a queue handle without registering. 0 takes it back. Client
 * id and uuid do not change. Nothing is checked or logged.
 *
 * vell_register refuses while the library has a queue, and also while it has a client id. To
 * register again when the service has lost a registered client, for example because it restarted:
 * give the library a queue that can send, call vell_deregister, which clears the id once its
 * request is sent, and then vell_register.
 */
VELL_API void vell_register_kyt_q(uint32_t queue);

/* -------------------------------------------------------------------------------------------------
 * Route records
 * ---------------------------------------------------------------------------------------------- */

/*
 * A multicast route as it is sent: this head of 40 bytes, directly followed by an aligned TLV array
 * that holds the route's lists. The service defines what opcodes, flags and epoch mean. The two
 * lengths are prefix lengths.
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
 * The named flags: FLAG(bit, setter, tester) and SET_ONLY(bit, setter). Bit 12 has two names. Bit
 * 23 has one name for its setter and another for its tester. Bit 25 has no tester. Bits 14 and 26
 * to 63 have no name.
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

/* The flags' masks in vell_mrib_route.flags, named after the setters: vell_mrib_flag_direct = 0x1
 * and so on. */
#define VELL_MRIB_SETTER_MASK(bit, setter) vell_mrib_flag_##setter = 1 << bit,
#define VELL_MRIB_FLAG_MASK(bit, setter, tester) vell_mrib_flag_##setter = 1 << bit,
enum vell_mrib_flag { VELL_MRIB_FLAG_TABLE(VELL_MRIB_FLAG_MASK, VELL_MRIB_SETTER_MASK) };
#undef VELL_MRIB_FLAG_MASK
#undef VELL_MRIB_SETTER_MASK

/*
 * vell_mrib_set_flags_<name>(route) sets the flag and does not change the others.
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

/* vell_mrib_set_flags replaces the whole flag word, including the bits without a name. */
VELL_API void vell_mrib_set_flags(vell_mrib_route *route, uint64_t flags);

/* vell_mrib_set_flag_init clears the whole flag word. */
VELL_API void vell_mrib_set_flag_init(vell_mrib_route *route);

/* vell_mrib_set_opcode stores the operation on this route, the low byte of `opcode`. */
VELL_API void vell_mrib_set_opcode(vell_mrib_route *route, uint32_t opcode);

/* vell_mrib_set_source stores the IPv4 source address and its prefix length. Neither is checked or
 * masked. */
VELL_API void vell_mrib_set_source(vell_mrib_route *route, uint32_t address, uint8_t prefix_length);

/* vell_mrib_set_group stores the IPv4 group address and its prefix length. Neither is checked or
 * masked. */
VELL_API void vell_mrib_set_group(vell_mrib_route *route, uint32_t address, uint8_t prefix_length);

/* vell_mrib_set_epoch stores the route's epoch. */
VELL_API void vell_mrib_set_epoch(vell_mrib_route *route, uint32_t epoch);

/* vell_mrib_set_rpfif stores the interface index of the RPF interface. vell_mrib_get_rpfif returns
 * it. */
VELL_API void vell_mrib_set_rpfif(vell_mrib_route *route, uint32_t if_index);
VELL_API uint32_t vell_mrib_get_rpfif(const vell_mrib_route *route);

/* vell_mrib_set_df_ordinal stores the designated forwarder's ordinal, the low byte of `ordinal`. */
VELL_API void vell_mrib_set_df_ordinal(vell_mrib_route *route, uint32_t ordinal);

/* vell_mrib_set_table_id stores the id of the route table. */
VELL_API void vell_mrib_set_table_id(vell_mrib_route *route, uint32_t table_id);

/* -------------------------------------------------------------------------------------------------
 * Lists of a route: outgoing interfaces (OIFs), MTI encapsulations, GLT encapsulations
 *
 * Open a list with its begin function, add its entries one by one, and close it with its end
 * function, which appends it to the route's TLV array. All three lists are built at the start of
 * vell_mrib_buf, so keep only one open at a time; their order does not matter. This is not checked.
 * Opening a second list discards the entries of the first but does not close it: adding to the
 * first one, or ending it, then uses the bytes of the second. An empty list remains open after its
 * end function: set its variable to null before opening another.
 *
 * p_current_tlv_addr and current_tlv_size are the append position in the TLV array. Both are 0 at
 * first, and the next list then starts a route's TLV array. The platform's TLV functions update
 * them, and the library keeps them from list to list; vell_send_v4_mroute_update resets both to 0
 * once it has tried to send. So fill one route after the other. Set both to 0 before every further
 * route of the same message, and to discard a half-filled message. The simulator's TLV functions
 * also detect by themselves that another route has begun; do not rely on this on other platforms.
 *
 * Nothing checks the space after the route: it is the caller's buffer. As the limit of a route's
 * TLV array the library gives the platform VELL_MRIB_BUF_SIZE, whatever room the buffer has. A list
 * that the platform does not append is lost without a report.
 * ---------------------------------------------------------------------------------------------- */

/* A list as it is built and as it is sent: the number of entries, directly followed by the
 * entries. */
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

/* An MTI encapsulation: four words. The service defines their meaning. */
typedef struct VELL_RECORD vell_mti_entry {
    uint32_t words[4];
} vell_mti_entry;

/* A GLT encapsulation. The service defines the meaning of the words; `data_length` says how many
 * bytes of `data` are used. */
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

/* The list being built, or null when the list is closed. To close a list without appending it, set
 * its variable to null. */
VELL_API extern vell_oif_list *vell_oifs;
VELL_API extern vell_mti_list *mti_oifs;
VELL_API extern vell_glt_list *glt_oifs;

/* The append position: where the next TLV goes, an address, and the size of the TLV array so far.
 * Both 0: the next list starts a TLV array. */
VELL_API extern uint32_t p_current_tlv_addr;
VELL_API extern uint32_t current_tlv_size;

/* vell_mrib_add_..._begin opens an empty list. */
VELL_API void vell_mrib_add_oifs_begin(void);
VELL_API void vell_mrib_add_mti_encap_begin(void);
VELL_API void vell_mrib_add_glt_encap_begin(void);

/*
 * vell_mrib_add_<kind>_oif adds an outgoing interface of that kind: vell_mrib_add_reg_oif,
 * vell_mrib_add_vprime_oif and so on. Does nothing while the OIF list is closed. No add function
 * checks for the end of the buffer: vell_mrib_buf has room for 15103 OIFs, 7551 MTI encapsulations
 * or 2013 GLT encapsulations, and one TLV carries at most 8191, 4095 or 1092. Of the
 * length of a longer list only the low 16 bits are kept.
 */
#define VELL_OIF_KIND_ADDER(value, name)                                                           \
    VELL_API void vell_mrib_add_##name##_oif(uint32_t if_index);
VELL_OIF_KIND_TABLE(VELL_OIF_KIND_ADDER)
#undef VELL_OIF_KIND_ADDER

/* vell_mrib_add_mti_encap adds an MTI encapsulation. Does nothing while the MTI list is closed. */
VELL_API void vell_mrib_add_mti_encap(uint32_t word0, uint32_t word1, uint32_t word2,
                                      uint32_t word3);

/*
 * vell_mrib_add_glt_encap adds a GLT encapsulation. Does nothing while the GLT list is closed.
 * Copies `data_length` bytes from `data`, which may be null when the length is 0. The length must
 * not exceed VELL_GLT_DATA_MAX. This is not checked: a longer copy overwrites the entry's last two
 * words and what follows. The rest of the data field keeps what the buffer had there.
 */
VELL_API void vell_mrib_add_glt_encap(uint32_t word0, uint32_t word1, uint32_t word2,
                                      uint32_t word3, const void *data, uint32_t data_length,
                                      uint32_t last_word);

/*
 * vell_mrib_add_..._end appends the list to the route's TLV array as one TLV and closes it. Of the
 * TLV's length only the low 16 bits are sent. Does nothing when the list is closed. An empty list
 * is not appended and remains open. When the platform's TLV function refuses the TLV, this is not
 * reported, and the list is closed all the same.
 */
VELL_API void vell_mrib_add_oifs_end(vell_mrib_route *route);
VELL_API void vell_mrib_add_mti_encap_end(vell_mrib_route *route);
VELL_API void vell_mrib_add_glt_encap_end(vell_mrib_route *route);

/*
 * vell_mrib_test_add_... appends a whole list of `count` entries in one call. The list is built in
 * vell_mrib_buf and overwrites an open list there; no list is opened or closed. Does nothing when
 * the array is null or the count is 0.
 */
VELL_API void vell_mrib_test_add_oiflist(vell_mrib_route *route, const vell_oif_entry *entries,
                                         uint32_t count);
VELL_API void vell_mrib_test_add_mti_oif(vell_mrib_route *route, const vell_mti_entry *entries,
                                         uint32_t count);
VELL_API void vell_mrib_test_add_glt_oif(vell_mrib_route *route, const vell_glt_entry *entries,
                                         uint32_t count);

/* vell_mrib_get_route_size returns the size of a filled route in bytes: 44, for the route's head
 * and the TLV array's own head, plus what the platform's function reports for the array's TLVs. The
 * next route of the message starts that many bytes further on. Clear those 44 bytes before filling
 * a route: without a list, the array's head is what the caller left there. */
VELL_API uint32_t vell_mrib_get_route_size(const vell_mrib_route *route);

/*
 * vell_mrib_get_max_route_size returns 8 n_oif + 16 n_mti + 60 n_glt + 56, modulo 2^32: a first
 * estimate of the bytes to reserve for a route before it is filled. It has room for the head of one
 * TLV. On a platform whose TLV heads take 4 bytes, as the simulator's do, it is 4 bytes short for a
 * route with two lists and 12 bytes short for one with three: add that many.
 */
VELL_API uint32_t vell_mrib_get_max_route_size(uint32_t n_oif, uint32_t n_mti, uint32_t n_glt);

/* -------------------------------------------------------------------------------------------------
 * Route messages
 * ---------------------------------------------------------------------------------------------- */

/* The head of a route message. `route_count` route records follow it back to back. */
typedef struct VELL_RECORD vell_mrib_message {
    uint8_t client_id;
    uint8_t reserved1;
    uint16_t route_count;
    uint16_t marker;
    uint8_t reserved2[2];
} vell_mrib_message;

/*
 * vell_send_v4_mroute_update sends a message of `length` bytes, head and route records, that the
 * caller has built. The library writes the client id, `route_count` and `marker` into the head and
 * does not look at the rest. `reference` receives the transport's message reference, which kyt.h
 * declares. After a success the caller must release it with kyt_drop on the library's queue; after
 * a failure there is nothing to release.
 *
 * Needs an acknowledged client; without one it changes nothing. Once it has tried to send,
 * p_current_tlv_addr and current_tlv_size are 0, even when the send failed. Returns 1 when sent, 0
 * when not. Logs nothing.
 */
VELL_API uint32_t vell_send_v4_mroute_update(void *message, uint32_t length, uint16_t route_count,
                                             uint16_t marker, struct kyt_msg_ref *reference);

/*
 * vell_send_v6_mroute_update sends the IPv6 route notice: three values. The service defines their
 * meaning.
 *
 * Needs an acknowledged client, and logs error 700 without one. A failed send logs nothing. Returns
 * 1 when sent, 0 when not.
 */
VELL_API uint32_t vell_send_v6_mroute_update(uint32_t first, uint32_t second, uint16_t third);

/* The dux forwarding roles: ROLE(value, name). Each is sent as the route flag dux_<name>. */
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
 * vell_dux_role. Any other value is sent as no role, without a flag. The message has marker 0x5aa5
 * and one route with opcode 23. It does not change p_current_tlv_addr and current_tlv_size.
 *
 * Needs an acknowledged client. Returns 1 when sent, 0 when not. Logs nothing.
 */
VELL_API uint32_t vell_mrib_send_dux_role_update(uint32_t role);

/* vell_mrib_send_dux_role_<name>() calls vell_mrib_send_dux_role_update with the role of that name
 * and returns its result. */
#define VELL_DUX_ROLE_SENDER(value, name) VELL_API uint32_t vell_mrib_send_dux_role_##name(void);
VELL_DUX_ROLE_TABLE(VELL_DUX_ROLE_SENDER)
#undef VELL_DUX_ROLE_SENDER

/*
 * vell_mrib_get_mroute_tlv_info reads back how many entries each list of a filled route has: 0 for
 * a list that the route does not have. When two lists have the same type, the last one counts.
 *
 * Returns the number of TLVs in the route's array. At a TLV whose type is not that of a list, it
 * stops and returns that type. When the platform's TLV function fails, it stops and returns that
 * function's status. Counts read before it stopped remain. The result alone does not show which of
 * the three it is. An array that claims more than 255 TLVs is read until one of these two stops it.
 * With a null route it returns 0 and does not write the counts.
 */
VELL_API uint32_t vell_mrib_get_mroute_tlv_info(const vell_mrib_route *route, uint32_t *n_oif,
                                                uint32_t *n_mti, uint32_t *n_glt);

/* -------------------------------------------------------------------------------------------------
 * Route statistics
 *
 * A route is identified by table id, source and group; each address has a prefix length in bits.
 * None of these is checked or masked. The service's answer does not pass through this library: how
 * it reaches the caller, and its format, are the service's business. On the simulator it comes on
 * the queue that the request was sent from.
 *
 * Each function needs an acknowledged client, and logs "Client not registered" without one. Each
 * returns 1 when the transport accepted the request and 0 when not.
 * ---------------------------------------------------------------------------------------------- */

/*
 * vell_send_v4_mroute_stats_req requests the counters of an IPv4 route and, when `clear_counters`
 * is not 0, asks to clear them; the value is sent as it is. Logs error 823 without a client, error
 * 847 when the send failed, and trace 851 when `clear_counters` is not 0 and the request was sent.
 */
VELL_API int vell_send_v4_mroute_stats_req(uint32_t table_id, uint32_t source,
                                           uint8_t source_length, uint32_t group,
                                           uint8_t group_length, uint32_t clear_counters);

/*
 * vell_send_v4_mroute_clear_req asks to clear the counters of an IPv4 route. Logs error 941 without
 * a client, and error 964, whose text says "stat req", when the send failed.
 */
VELL_API int vell_send_v4_mroute_clear_req(uint32_t table_id, uint32_t source,
                                           uint8_t source_length, uint32_t group,
                                           uint8_t group_length);

/*
 * vell_send_v6_mroute_stats_req requests the counters of an IPv6 route. `source` and `group` point
 * to addresses of 16 bytes in network order, at any alignment, which are only read. Logs error 885
 * without a client; a failed send logs nothing.
 */
VELL_API int vell_send_v6_mroute_stats_req(uint32_t table_id, const void *source,
                                           uint8_t source_length, const void *group,
                                           uint8_t group_length);

/*
 * vell_send_v6_mroute_clear_req asks to clear the counters of an IPv6 route, with arguments as
 * above. Logs error 999 without a client, and error 1022, whose text says "stat req", when the send
 * failed.
 */
VELL_API int vell_send_v6_mroute_clear_req(uint32_t table_id, const void *source,
                                           uint8_t source_length, const void *group,
                                           uint8_t group_length);

/* -------------------------------------------------------------------------------------------------
 * IGMP snooping and layer-2 multicast
 *
 * A snooping client registers, and from then on sends its changes in layer-2 messages: a record of
 * type 21 adds an MBD entry, one of type 22 deletes it. For a batch of several messages, the flags
 * of the first message ask for a begin marker and those of the last one for an end marker; a single
 * message asks for both. A client that does not know yet which message is the last one sends
 * markers of its own with vell_send_igmp_oob_notification. When it has sent all that it knew at its
 * start, it reports this with vell_send_igmp_download_complete. examples/snooping_client.c does all
 * of this.
 * ---------------------------------------------------------------------------------------------- */

/*
 * vell_send_igmp_oob_notification sends an out-of-band marker: 1 begins a batch of layer-2 updates,
 * 2 ends it. Any other value is sent too.
 *
 * Needs a queue, but no client id: it is also sent before the registration is acknowledged. Returns
 * 1 when sent. Returns 0 without a queue (error 596) and when the send failed (error 609).
 */
VELL_API int vell_send_igmp_oob_notification(uint32_t marker);

/*
 * vell_send_igmp_download_complete notifies the service that the client's download is complete.
 *
 * Needs an acknowledged client, and logs error 548 without one. A failed send logs nothing. Returns
 * 1 when sent, 0 when not.
 */
VELL_API int vell_send_igmp_download_complete(void);

/* vell_send_igmp_snoop_update does nothing. It is kept for clients that call it. Returns 1. */
VELL_API int vell_send_igmp_snoop_update(void);

/*
 * A layer-2 message is this header and `count` records back to back, built by the caller in host
 * byte order. vell_send_l2_mc_update converts it to network order in place: every field of 16 or 32
 * bits, except the records' lengths and what is excluded below.
 */
typedef struct VELL_RECORD vell_l2_message {
    uint8_t client_id; /* written by the library: 0 while it has none */
    uint8_t reserved;  /* the caller's, sent as it is */
    uint16_t count;    /* written by the library: the caller's argument */
    uint16_t value;    /* written by the library: the caller's argument */
    uint16_t flags;    /* the caller's, of enum vell_l2_flag */
} vell_l2_message;

enum vell_l2_flag {
    vell_l2_begin_marker = 0x0001, /* send out-of-band marker 1 before the message */
    vell_l2_end_marker = 0x0002    /* send out-of-band marker 2 after it, once it is sent */
};

/* Every record begins with this. `type` says which of the records below it is. */
typedef struct VELL_RECORD vell_l2_record {
    uint8_t type;
    uint8_t reserved[7]; /* the caller's, sent as they are */
    uint32_t length;     /* written by vell_send_l2_mc_update, in host byte order */
} vell_l2_record;

/*
 * An address block: the address family, `kind`, and the address. The area holds an IPv4 address as
 * a uint32 in its first 4 bytes, a MAC address in its first 6, or an IPv6 address. Only the IPv4
 * address is converted.
 *
 * An unknown address family stops the conversion of its record's addresses and entries: this block,
 * its `kind` included, a block after it, and the record's entries stay in host order. All other
 * fields of the record are converted, the entry count among them, and its length is written as
 * always. 0 is an unknown address family.
 */
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

/* An entry of 32 bytes: an outgoing interface. An unknown kind stops the conversion of its record's
 * entries: the first four words of this entry, its kind included, are converted; its value and the
 * entries after it stay in host order. */
enum vell_l2_oif_kind { vell_l2_oif_plain = 0, vell_l2_oif_ipv6 = 1, vell_l2_oif_if_index = 2 };
#define VELL_L2_OIF_SVI 0x04
typedef struct VELL_RECORD vell_l2_oif {
    uint32_t kind;  /* of enum vell_l2_oif_kind: what `value` holds */
    uint32_t flags; /* VELL_L2_OIF_SVI: a VLAN interface */
    uint32_t words[2];
    union VELL_RECORD {
        uint32_t if_index; /* converted only when the kind is vell_l2_oif_if_index */
        uint8_t ipv6[16];  /* sent as it is */
    } value;
} vell_l2_oif;

/*
 * The records, up to where their entries begin. A record is longer than its structure: it is
 * VELL_L2_RECORD_BYTES plus its entries' bytes long, and its entries begin directly after the
 * structure. A record of type 21 with 3 entries is 80 + 3 * 32 bytes long. Its entries begin at
 * byte 78, and the 2 bytes after the last one belong to it. What follows the last entry, up to the
 * record's end, is sent as it is.
 *
 * The service defines what words, halves and addresses mean, and how an MBD entry says that it is
 * (*, G). On the simulator the source of a (*, G) entry has the group's address family and an area
 * of zeros.
 *
 * Records of other types are not converted. The library writes the length of the record before it
 * into such a record, or 0 into the first one, and expects the next record that many bytes further
 * on. This is not reported.
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
 * vell_send_l2_mc_update converts the message in `buffer` and sends `length` bytes of it. `count`
 * is the number of its records. `value` is written to its header; the service defines its meaning.
 * The library does not check `length` against the records. `msg_ref` is the address of the caller's
 * message reference, a kyt_msg_ref of kyt.h, as a uint32; it is passed to the transport unchanged.
 * After a success the caller must release the reference with kyt_drop on the library's queue; after
 * a failure there is nothing to release.
 *
 * The header's flags ask for out-of-band markers around the message. They are sent and logged as by
 * vell_send_igmp_oob_notification; whether they were sent does not change the result. Traces: the
 * begin marker (436) and the end marker (514), also when the marker's send failed, and each record
 * of type 21 or 22 (478) and of type 18 (486), once it is converted, also when the message is not
 * sent after that.
 *
 * Use a buffer for one call only, and build the message again to send it again. The buffer remains
 * converted, also after a failed send. A second call converts fields of its records back, and takes
 * an entry count in network order for one in host order: where a record has entries, the call may
 * read and write beyond the end of the buffer.
 *
 * Needs a queue, but no client id. Returns 1 when the message was sent. Returns 0 without a queue
 * (error 422; the buffer is not changed), and when the send failed, which is not logged: a begin
 * marker, if the flags ask for it, comes before the failed send, but no end marker after it.
 */
VELL_API int vell_send_l2_mc_update(uint8_t *buffer, uint32_t length, uint16_t count,
                                    uint16_t value, uint32_t msg_ref);

/* -------------------------------------------------------------------------------------------------
 * Overlay notifications
 *
 * These messages are sent from the queue that the caller passes, whether or not a client is
 * registered. Each function returns 1 when sent and 0 when not. It logs nothing, and writes
 * nothing, when the queue is 0 or a pointer is null; it logs an error when the send failed.
 * ---------------------------------------------------------------------------------------------- */

/* Every overlay message begins with this, in host byte order. `length` is the length of the whole
 * message, this head included, in bytes; it is not checked. The overlay and the service define what
 * follows. */
typedef struct VELL_RECORD vell_zeb_message {
    uint16_t type;
    uint16_t length;
} vell_zeb_message;

/*
 * vell_send_zeb_feature_disable notifies the service that the overlay is disabled: with type 1 when
 * `flag` is 0, with type 3 when it is not. Logs error 323 when the send failed.
 */
VELL_API int vell_send_zeb_feature_disable(uint32_t queue, uint32_t flag);

/*
 * vell_send_zeb_vlans_disable sends a message that says which VLANs are disabled: a
 * vell_zeb_message and what the caller has put after it. The library writes the type, 2, into
 * `buffer`; it remains there even when the send failed. Logs error 370 when the send failed.
 */
VELL_API int vell_send_zeb_vlans_disable(uint32_t queue, void *buffer);

/*
 * vell_send_zeb_route_update sends an overlay route message as it is, with any type. `reply`
 * receives the transport's message reference, which kyt.h declares. After a success the caller must
 * release it with kyt_drop on the same queue; after a failure there is nothing to release. Logs
 * error 281 when the send failed.
 */
VELL_API int vell_send_zeb_route_update(uint32_t queue, const void *buffer,
                                        struct kyt_msg_ref *reply);

/* -------------------------------------------------------------------------------------------------
 * Flood sets
 *
 * A VLAN's flood set is the set of outgoing interfaces that its frames are flooded to. The LTL
 * manager receives what changed: for each VLAN, the interfaces that were added and removed, and the
 * line cards that the VLAN now floods to. The caller describes its VLANs twice, as they were and as
 * they are, in two layer-2 messages with one vell_l2_vlan_record per VLAN, in host byte order. The
 * library reads only each record's `vlan` and `count` and each entry's VELL_L2_OIF_SVI flag and
 * `value.if_index`, not the message's header and not the types of records and entries. It sorts the
 * entries of each record by interface index, in place.
 * ---------------------------------------------------------------------------------------------- */

/* One change of a flood set. */
enum vell_flood_operation { vell_flood_added = 1, vell_flood_removed = 2 };
typedef struct VELL_RECORD vell_flood_update {
    uint32_t if_index;
    uint32_t operation; /* of enum vell_flood_operation */
} vell_flood_update;

/* What changed for one VLAN: this head, directly followed by `update_count` updates. The library
 * does not write the reserved bytes; they are 0 in the request that it sends. */
typedef struct VELL_RECORD vell_flood_delta {
    uint32_t vlan;
    uint8_t reserved1[8];
    uint32_t flc_bitmask; /* bit n: the VLAN floods to a physical Ethernet port on line card n */
    uint8_t reserved2[4];
    uint32_t update_count;
} vell_flood_delta;

/* The request to the LTL manager: this head, directly followed by `vlan_count` deltas with their
 * updates, back to back. */
typedef struct VELL_RECORD vell_flood_payload {
    uint32_t vlan_count;
} vell_flood_payload;

/*
 * vell_oif_comp compares two vell_l2_oif by their interface index, unsigned, for qsort. Logs
 * nothing. Returns 1 when the first is greater, -1 when it is smaller, 0 when they are equal.
 */
VELL_API int vell_oif_comp(const void *first, const void *second);

/*
 * vell_set_flc_bitmask sets the bit of the interface's line card, modulo 32, in `flc_bitmask`,
 * which may be at any address. Other bits do not change. An interface that is not a physical
 * Ethernet port sets no bit.
 *
 * Needs no client. Returns 0, also for such an interface. Otherwise it returns the status of the
 * platform function that failed, and does not change the bitmask: if_index_get_type (error 1055) or
 * if_index_phy_eth_get_fields (error 1063).
 */
VELL_API uint32_t vell_set_flc_bitmask(uint32_t *flc_bitmask, uint32_t if_index);

/*
 * vell_find_oiflist_delta computes what changed for one VLAN, from its old and its new entries, and
 * writes it to `delta`. It sorts both arrays by interface index, unsigned, and merges them:
 *
 *     an interface in                 is written as    its line card
 *     both arrays (kept)              nothing          is set in the bitmask
 *     the new array only (added)      an addition      is set in the bitmask
 *     the old array only (removed)    a removal        is not looked up
 *
 * A bit is set as by vell_set_flc_bitmask, and none is cleared. The updates are in ascending order
 * of interface index. Of several entries with the same index, each matches at most one entry of the
 * other array; which of them is not defined.
 *
 * An entry of the new array with the SVI flag is skipped (trace 1121), so an SVI in both arrays is
 * written as a removal. The flag is no longer checked once all old entries are matched or removed:
 * then the rest of the new array is added, SVIs included. With no old entries at all, this begins
 * at the first new entry without the flag.
 *
 * The caller must provide room after `delta` for up to `old_count` + `new_count` updates. Of the
 * head only the bitmask and `update_count` are written. With both counts 0 nothing is written
 * (trace 1109), the arrays are not read, and the result is 0. An array with a count of 0 may be
 * null; no other pointer may. The C library's sort may allocate memory, but can do without it.
 *
 * Needs no client. Returns 0, and traces the bitmask (1201) and the updates (1202, and 1206 for
 * each). When a line card cannot be looked up, it returns the status of vell_set_flc_bitmask at
 * once, and logs an error of its own too: 1134 for a kept interface, 1158 for an added one, 1175
 * for one that is added after all old entries. Then `delta` keeps the bits and updates written so
 * far, `update_count` is not written, and both arrays are sorted.
 */
VELL_API int32_t vell_find_oiflist_delta(vell_l2_oif *old_entries, uint32_t old_count,
                                         vell_l2_oif *new_entries, uint32_t new_count,
                                         vell_flood_delta *delta);

/*
 * vell_build_nerb_flood_ltl_pyld fills `payload` from two messages of `vlan_count` records each,
 * which must be for the same VLANs in the same order. This is not checked; the VLAN ids are taken
 * from the old message. The payload must be all zeros. It must have room for its head and, for each
 * VLAN, a delta with as many updates as the VLAN has old and new entries. With a count of 0 only
 * the count is written, and the messages may be null.
 *
 * Needs no client. Logs trace 1244 for each VLAN, and what vell_find_oiflist_delta logs. Returns 0,
 * or at once the status that vell_find_oiflist_delta returned; the count and the deltas so far
 * remain, the last one as vell_find_oiflist_delta left it.
 */
VELL_API int32_t vell_build_nerb_flood_ltl_pyld(void *old_buffer, void *new_buffer,
                                                uint16_t vlan_count, vell_flood_payload *payload);

/*
 * vell_send_l2_mc_update_flood_ltl sends the LTL manager one request that says how the flood sets
 * of a batch of VLANs changed. The two messages must have records for the same VLANs in the same
 * order. `old_length` and `new_length` are not read or checked. `context` must not be null. The
 * library passes it to the manager's client library unchanged and does not look at what it points
 * to; what becomes of it is the manager's business. The request is allocated, and released before
 * the call returns. Traces: the number of VLANs (1304), once the counts are found equal, and those
 * of vell_build_nerb_flood_ltl_pyld.
 *
 * Needs a queue, but no client id. Returns 1 when the manager's client library accepted the
 * request. The manager's answer, for vell_handle_l2_mc_update_flood_ltl_resp, reports for each VLAN
 * whether the change was made. Returns 0 when a pointer is null (error 1295), when the counts
 * differ (1300), without a queue (1310), when two records are for different VLANs (1332), when
 * there is no memory (1352), when a delta could not be computed (1361), and when the client library
 * refused the request (1368). Up to error 1352 the messages are not changed. On error 1361 the
 * entries are sorted up to and including those of the VLAN that failed; otherwise all are sorted.
 */
VELL_API uint32_t vell_send_l2_mc_update_flood_ltl(void *old_buffer, uint32_t old_length,
                                                   uint16_t old_count, void *new_buffer,
                                                   uint32_t new_length, uint16_t new_count,
                                                   void *context);

/*
 * The result of a flood update for one VLAN: a record of a layer-2 message that is already in
 * network byte order. The message's header has the number of these records, and its flags are 1
 * when the manager reported overall success, otherwise 0. All other bytes of header and records
 * are 0.
 */
#define VELL_FLOOD_ACKNOWLEDGED 0x01
typedef struct VELL_RECORD vell_flood_result {
    uint8_t type;          /* 0 */
    uint8_t flags;         /* VELL_FLOOD_ACKNOWLEDGED when the change was made, otherwise 0 */
    uint8_t reserved1[22]; /* 0 */
    uint32_t vlan;         /* in network order */
    uint8_t reserved2[52]; /* 0 */
} vell_flood_result;

/*
 * vell_handle_l2_mc_update_flood_ltl_resp reads the manager's answer to a flood update. `rsp` is
 * the answer as the caller received it; it remains the caller's. The answer has an entry of four
 * words for each VLAN: the first is the VLAN id, the fourth the status, 0 when the change was made;
 * the other two are not read. On success `result`, an aligned pointer, receives a vell_l2_message
 * with one vell_flood_result per VLAN, in the answer's order. The VLANs are not compared with those
 * of the request. The message is allocated; the caller must release it with free.
 *
 * Needs no client, and 66 KiB of stack besides what the platform's functions take. Returns 1 when
 * the result was built, also when VLANs were refused; each of those logs error 1454. Returns 0,
 * with `result` set to null, when the answer cannot be read (errors 1404, 1411, 1418), when it has
 * no entries or more than 4095 (error 1411), and when there is no memory (error 1428).
 */
VELL_API uint32_t vell_handle_l2_mc_update_flood_ltl_resp(const void *rsp, uint8_t **result);

/* -------------------------------------------------------------------------------------------------
 * Multicast LTL indexes
 *
 * An LTL index identifies a set of outgoing interfaces in the hardware. The LTL manager owns the
 * indexes. These functions ask for one, ask to change its interfaces, or ask to release it. They
 * need no client: requests are sent from the library's queue, even when it is 0.
 *
 * Each request has one entry. `key1` and `key2` are the first two words of the entry, in all three
 * requests. `cookie` is passed to the manager's client library unchanged. The library only carries
 * these values. The manager defines what they mean, for example which keys change and release an
 * index.
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

/* A request to release an LTL index. */
typedef struct VELL_RECORD vell_ltl_release {
    uint32_t key1;
    uint32_t key2;
    uint32_t reserved; /* 0 at first, and not written by the library */
} vell_ltl_release;

/*
 * The last requests, as they were built: all 0 at first, and not cleared after a request was sent
 * or failed. When the copy of an interface list could not be allocated, the entry's pointer is null
 * and `ltl_payload.count` is as before. These variables are for inspection: the next request
 * overwrites what a client writes here, except for ltl_dealloc's third word, which is sent as it
 * is.
 *
 * ltl_payload is only the count. In the library its one vell_ltl_entry follows it directly, and
 * position-independent clients can read it there. An executable at a fixed address that loads the
 * library has a copy of the count, without the entry.
 */
VELL_API extern vell_ltl_payload ltl_payload;
VELL_API extern vell_ltl_release ltl_dealloc;

/*
 * vell_nerb_l2_ltl_alloc requests an LTL index for the `count` interfaces in `if_indexes`. The list
 * may be at any address and is only read; it may be null when the count is 0. A copy of it is
 * allocated, of 4 `count` bytes modulo 2^32, and released before the call returns.
 *
 * Returns 1 when the manager's client library accepted the request. Whether an index was allocated,
 * and which, is in the answer, for vell_nerb_handle_l2_alloc_response. Returns 0 when there is no
 * memory (errors 1484, of vell_nerb_build_mcast_ltl_info, and 1512), and when the client library
 * refused the request (error 1523).
 */
VELL_API int vell_nerb_l2_ltl_alloc(uint32_t key1, uint32_t count, const uint32_t *if_indexes,
                                    uint32_t key2, uint32_t cookie);

/*
 * vell_nerb_l2_ltl_modify asks to change the interfaces of an LTL index. Otherwise it is like
 * vell_nerb_l2_ltl_alloc. The manager defines whether the list replaces the present interfaces; on
 * the simulator it does. Read an answer with vell_nerb_handle_l2_response.
 *
 * Returns 1 when the manager's client library accepted the request. Returns 0 when there is no
 * memory (errors 1484 and 1576), and when the client library refused the request (error 1587, whose
 * text says "alloc").
 */
VELL_API int vell_nerb_l2_ltl_modify(uint32_t key1, uint32_t count, const uint32_t *if_indexes,
                                     uint32_t key2, uint32_t cookie);

/*
 * vell_nerb_l2_ltl_dealloc asks to release an LTL index. Read an answer with
 * vell_nerb_handle_l2_response.
 *
 * Returns 1 when the manager's client library accepted the request, and 0 when it refused (error
 * 1551).
 */
VELL_API int vell_nerb_l2_ltl_dealloc(uint32_t key1, uint32_t key2, uint32_t cookie);

/*
 * vell_nerb_build_mcast_ltl_info fills `entry`, at any address, for a list of interfaces, as
 * vell_nerb_l2_ltl_alloc does. The copy of the list is allocated; the caller must release it with
 * free.
 *
 * Returns 1, or 0 when there is no memory (error 1484): then the entry is filled too, but with a
 * null list.
 */
VELL_API int vell_nerb_build_mcast_ltl_info(uint32_t key1, uint32_t count,
                                            const uint32_t *if_indexes, uint32_t key2,
                                            vell_ltl_entry *entry);

/* -------------------------------------------------------------------------------------------------
 * Answers to LTL requests
 *
 * The answer to a request for one LTL index must have one entry. The two results are words of this
 * entry. The manager defines what they mean, for example which one is the allocated index. These
 * functions need no client.
 * ---------------------------------------------------------------------------------------------- */

/*
 * vell_nerb_handle_l2_response reads a general answer of the manager, to a modification or a
 * release. `rsp` is the answer as the caller received it; it remains the caller's. Its entry has
 * four words: `result1` receives the first and `result2` the third, both at any address; the second
 * is not read, and the fourth is the entry's status, 0 for success.
 *
 * Returns 1, and stores both results, when the answer reports success, overall and for its one
 * entry. Returns 0, and stores nothing, when it reports a failure, when it cannot be read, and when
 * it does not have exactly one entry. The overall status (error 1654), the number of entries (1662)
 * and the entry (1669) are checked in this order.
 */
VELL_API int vell_nerb_handle_l2_response(const void *rsp, uint32_t *result1, uint32_t *result2);

/*
 * vell_nerb_handle_l2_alloc_response reads the answer to vell_nerb_l2_ltl_alloc. Otherwise it is
 * like vell_nerb_handle_l2_response. The entry of this answer has three words and no status of its
 * own: `result1` receives the second word and `result2` the third; the first is not read.
 *
 * Returns 1, and stores both results, when the answer reports success and has exactly one entry.
 * Returns 0, and stores nothing, otherwise: error 1616 for the status and the number of entries,
 * error 1623 when the entry cannot be read or the status, which is read again with it, is not 0.
 */
VELL_API int vell_nerb_handle_l2_alloc_response(const void *rsp, uint32_t *result1,
                                                uint32_t *result2);

#ifdef __cplusplus
}
#endif

#endif
