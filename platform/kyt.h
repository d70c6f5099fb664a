/*
 * The message transport: the functions of libkyt that libvell calls.
 *
 * A queue handle identifies one of the process's own queues; 0 is not a queue. Every request is
 * sent from a queue, and is addressed by destination node, service access point and opcode.
 *
 * On a switch the platform's own kyt.h replaces this header.
 */
#ifndef KYT_H
#define KYT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * A message reference: kyt_send fills it in, and kyt_drop releases what it refers to. libvell only
 * passes its address. Content and size are the transport's; 64 bytes are enough for the simulator.
 * libvell has references of its own on the stack, so compile it with the kyt.h of the platform that
 * it runs on.
 */
typedef struct kyt_msg_ref {
    uint8_t opaque[64];
} kyt_msg_ref;

/* The send-options block: 19 words. libvell sets word 0 to 1, word 1 to 0 or 1 depending on the
 * request, and the others to 0. The transport defines their meaning. */
#define KYT_SEND_OPTION_WORDS 19

/*
 * Sends one message and fills in its reference. libvell passes 0 as `flags`. Returns -1 when the
 * send failed, and any other value on success. After a failure there is no reference to release.
 * The payload and the options need not outlive the call.
 */
int32_t kyt_send(uint32_t queue, uint32_t node, uint32_t sap, uint32_t opcode, const void *payload,
                 uint32_t length, kyt_msg_ref *reference, uint32_t flags, const uint32_t *options);

/* Releases the reference of a message that was sent from `queue`. */
void kyt_drop(uint32_t queue, kyt_msg_ref *reference);

/* Returns the payload of a received message, or null. libvell reads the first 2 bytes of a
 * registration's answer at once and does not keep the payload. */
void *kyt_payload_get(void *message);

#ifdef __cplusplus
}
#endif

#endif
