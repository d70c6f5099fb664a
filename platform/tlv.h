/*
 * Aligned TLV arrays: the functions of libtlv that libvell calls.
 *
 * An array is a block of bytes in the caller's buffer. The functions below define its framing. The
 * argument `reserved` is passed as 0.
 */
#ifndef TLV_H
#define TLV_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Appends one TLV. `position` and `size` are the append position, which this function keeps from
 * one call to the next: an address, and the size of the array so far. Both 0 start an array at
 * `array`. Callers set both to 0 before every new array: what a position left by another array does
 * is not defined here. (The simulator's function notices it and starts an array.) `capacity` limits
 * the array in bytes. Returns 0 when the TLV was appended.
 */
uint32_t tlv_aligned_array_append_tlv(void *array, uint32_t *position, uint32_t *size,
                                      uint32_t capacity, uint16_t type, uint16_t length,
                                      const void *value, uint32_t reserved);

/*
 * Reads the TLV at `cursor`, where 0 is the first one, and moves the cursor to the next one.
 * `value` points into the array. Returns 0 when there was a TLV to read.
 */
uint32_t tlv_aligned_array_get_next_tlv(const void *array, uint16_t *type, uint16_t *length,
                                        const void **value, uint32_t reserved, uint32_t *cursor);

/* Returns the number of TLVs in the array. */
int32_t tlv_aligned_array_get_num_tlvs(const void *array, uint32_t reserved);

/* Returns how many bytes the TLVs take in the array, without the array's own head, for which
 * libvell counts 4 bytes. */
uint32_t tlv_aligned_array_size_get(const void *array, uint32_t reserved);

#ifdef __cplusplus
}
#endif

#endif
