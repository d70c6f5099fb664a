/*
 * Aligned TLV arrays: what libvell calls of libtlv.
 *
 * An array is a block of bytes in the caller's buffer that the functions below lay out; its framing
 * is theirs. The last argument of every function but one (its fifth in
 * tlv_aligned_array_get_next_tlv) is reserved and passed as 0.
 */
#ifndef TLV_H
#define TLV_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Appends one TLV. `position` and `size` are the append state, the address behind the last TLV and
 * the bytes of TLVs so far. Both 0, or a state that belongs to another array, starts a fresh array
 * at `array`. `capacity` bounds the array in bytes. Returns 0 when the TLV was appended.
 */
uint32_t tlv_aligned_array_append_tlv(void *array, uint32_t *position, uint32_t *size,
                                      uint32_t capacity, uint16_t type, uint16_t length,
                                      const void *value, uint32_t reserved);

/*
 * Reads the TLV at `cursor` (0 is the first one) and moves the cursor behind it. `value` points
 * into the array. Returns 0 when there was a TLV to read.
 */
uint32_t tlv_aligned_array_get_next_tlv(const void *array, uint16_t *type, uint16_t *length,
                                        const void **value, uint32_t reserved, uint32_t *cursor);

/* Returns the number of TLVs in the array. */
int32_t tlv_aligned_array_get_num_tlvs(const void *array, uint32_t reserved);

/* Returns the bytes that the TLVs take in the array, its own head not counted. */
uint32_t tlv_aligned_array_size_get(const void *array, uint32_t reserved);

#ifdef __cplusplus
}
#endif

#endif
