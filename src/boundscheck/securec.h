/* Stand-in for the bounds-checking functions where the distribution has no package of them: the three that this project
 * calls, with the same header name, signatures and result codes. */
#ifndef SECUREC_H
#define SECUREC_H

#include <stdarg.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifndef errno_t
typedef int errno_t; /* NOLINT(modernize-use-using): C callers read this header, too */
#endif

#define SECUREC_MEM_MAX_LEN 0x7fffffffUL

#ifndef EOK
#define EOK 0
#endif
#define EINVAL_AND_RESET 150   /* EINVAL 22 | 0x80: refused, and the destination was cleared */
#define ERANGE_AND_RESET 162   /* ERANGE 34 | 0x80 */
#define EOVERLAP_AND_RESET 182 /* 54 | 0x80: source and destination overlap */

/* Copies count bytes. 0: copied. 34: destMax is 0 or above SECUREC_MEM_MAX_LEN, nothing is touched. 22: dest is null.
 * 150: src is null; 162: count is above destMax; 182: the two overlap: in these three the destination is cleared, all
 * destMax bytes of it (count bytes for an overlap). Copying a block onto itself is no overlap. */
errno_t memcpy_s(void* dest, size_t destMax, const void* src, size_t count);

/* Sets count bytes to c. 0: set. 34: destMax is 0 or above SECUREC_MEM_MAX_LEN. 22: dest is null. 162: count is above
 * destMax, and all destMax bytes were set to c. */
errno_t memset_s(void* dest, size_t destMax, int c, size_t count);

/* Formats at most count bytes into dest, which holds destMax bytes with the NUL. Returns the length of the text; -1 on
 * failure. With count = destMax - 1 a longer text is cut, kept and reported by -1; with a larger count a text that does
 * not fit leaves an empty string. Null pointers, a destMax of 0 or above SECUREC_MEM_MAX_LEN fail. */
int vsnprintf_s(char* dest, size_t destMax, size_t count, const char* format, va_list arguments);

#ifdef __cplusplus
}
#endif

#endif
