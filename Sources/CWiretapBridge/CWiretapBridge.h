/* The optional capture-file library behind plain C functions. It lies in a module that is loaded when it is first asked
   for; everything works without it. Any thread may call these, one file belongs to one thread. */
#ifndef NETRONDO_CWIRETAPBRIDGE_H
#define NETRONDO_CWIRETAPBRIDGE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define NR_WTAP_ERROR_SIZE 512

typedef struct nr_wtap nr_wtap;

typedef struct nr_wtap_frame {
    int64_t seconds; /* since 1970, UTC */
    uint32_t nanoseconds;
    uint32_t captured;
    uint32_t original;
    uint16_t link; /* registered link-type number; 65535 where there is none */
    const uint8_t* data;
} nr_wtap_frame;

/* Non-zero when the library could be loaded. */
int nr_wtap_available(void);

/* Opens a file, compressed or not. NULL with `unknown` set for a file of no format with frames that it knows, else
   with a message. Only to be called where the library is available. */
nr_wtap* nr_wtap_open(const char* path, int* unknown, char error[NR_WTAP_ERROR_SIZE]);
/* The link type of all frames, 65535 when they differ or have no registered one. */
uint16_t nr_wtap_link(nr_wtap* file);
/* 1 with the next frame, whose bytes are good until the next call; 0 at the end; -1 with a message. */
int nr_wtap_next(nr_wtap* file, nr_wtap_frame* frame, char error[NR_WTAP_ERROR_SIZE]);
/* How far the file has been read, in bytes. */
uint64_t nr_wtap_offset(nr_wtap* file);
void nr_wtap_close(nr_wtap* file);

#ifdef __cplusplus
}
#endif

#endif
