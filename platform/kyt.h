/*
 * The message transport: what libvell calls of libkyt.
 *
 * A queue handle names one of the process's own queues; 0 is no queue. Every request leaves from a
 * queue and is addressed by destination node, service access point and opcode.
 */
#ifndef KYT_H
#define KYT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What kyt_send knows a message by once it is sent. Opaque; the transport writes it and reads it
 * back in kyt_drop. */
typedef struct kyt_msg_ref {
    uint8_t opaque[64];
} kyt_msg_ref;

/* The send-options block: 19 words. Word 0 is always 1; the words' meaning is the transport's. */
#define KYT_SEND_OPTION_WORDS 19

/*
 * Sends one message and fills in its reference. Returns -1 when the send failed, in which case
 * there is no reference to release; every other value is success. The payload is not needed any
 * more once the call returns.
 */
int32_t kyt_send(uint32_t queue, uint32_t node, uint32_t sap, uint32_t opcode, const void *payload,
                 uint32_t length, kyt_msg_ref *reference, uint32_t flags, const uint32_t *options);

/* Releases the reference of a message that was sent from this queue. */
void kyt_drop(uint32_t queue, kyt_msg_ref *reference);

/* Returns the payload of a received message, or null. The payload lives as long as the message. */
void *kyt_payload_get(void *message);

#ifdef __cplusplus
}
#endif

#endif
