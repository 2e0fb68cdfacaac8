/* libpcap behind plain C functions: writing pcap files, checking capture filters, listing interfaces and capturing. */
#ifndef NETRONDO_CPCAPBRIDGE_H
#define NETRONDO_CPCAPBRIDGE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Room for the longest message, its terminating zero included. */
#define NR_PCAP_ERROR_SIZE 512

/* The snapshot length that keeps every frame whole, as capture programs agree on it. */
#define NR_PCAP_LARGEST_SNAPLEN 262144

/* A frame: when, how long it was on the wire, and the bytes that were captured of it. */
typedef struct nr_pcap_frame {
    uint32_t seconds;  /* since 1970, UTC */
    uint32_t fraction; /* microseconds, or nanoseconds in a file that counts in them */
    uint32_t captured;
    uint32_t original;
    const uint8_t* data; /* `captured` bytes */
} nr_pcap_frame;

/* ---- Writing a pcap file ---- */

typedef struct nr_pcap_writer nr_pcap_writer;

/* Takes the file's bytes as they come, in pieces that have no meaning; 0 when it took them all. */
typedef int (*nr_pcap_sink)(void* context, const void* bytes, size_t count);

/* Hands the file header to the sink. `link` is a registered link-type number. NULL when there is no memory, or the sink
   did not take the header. */
nr_pcap_writer* nr_pcap_writer_open(uint16_t link, uint32_t snaplen, int nanoseconds, nr_pcap_sink sink, void* context);
/* Hands one record to the sink. 0, or -1 once the sink has not taken something. */
int nr_pcap_writer_put(nr_pcap_writer* writer, const nr_pcap_frame* frame);
/* Frees the writer; NULL is fine. */
void nr_pcap_writer_close(nr_pcap_writer* writer);

/* ---- Capture filters ---- */

/* Whether libpcap compiles the expression for frames of this link type: 0, or -1 with its message in `error`. A host
   name in the expression is looked up, which may take seconds. Any thread may call it. */
int nr_pcap_check_filter(const char* expression, uint16_t link, char error[NR_PCAP_ERROR_SIZE]);

/* ---- Interfaces ---- */

enum {
    NR_PCAP_UP = 1,
    NR_PCAP_RUNNING = 2, /* it has a carrier */
    NR_PCAP_LOOPBACK = 4,
    NR_PCAP_WIRELESS = 8,
};

typedef struct nr_pcap_address {
    uint8_t bytes[16]; /* in network order; the first 4 or all */
    uint8_t size;      /* 4 or 16 */
} nr_pcap_address;

typedef struct nr_pcap_interface {
    const char* name;
    const char* description; /* never NULL, often empty */
    unsigned flags;          /* NR_PCAP_… */
    const nr_pcap_address* addresses;
    size_t address_count;
} nr_pcap_interface;

typedef void (*nr_pcap_visitor)(void* context, const nr_pcap_interface* interface);

/* Shows every network interface of the machine to the visitor, the likeliest first, the pseudo-interface `any` among
   them. What it shows is good during the visit. 0, or -1 with a message. Needs no privilege. */
int nr_pcap_list(nr_pcap_visitor visitor, void* context, char error[NR_PCAP_ERROR_SIZE]);

/* ---- Live capture ---- */

typedef struct nr_pcap nr_pcap;

typedef struct nr_pcap_options {
    const char* interface;
    const char* filter;   /* NULL or empty: every frame */
    uint32_t snaplen;     /* bytes kept of a frame */
    int promiscuous;      /* also frames that are meant for others */
    int timeout;          /* milliseconds the kernel may collect frames before it hands them over */
    uint32_t buffer_size; /* bytes the kernel keeps for us */
} nr_pcap_options;

typedef enum nr_pcap_status {
    NR_PCAP_FINE = 0,
    NR_PCAP_FAILED = -1,        /* the message says why */
    NR_PCAP_NO_PERMISSION = -2, /* the capture privilege is missing */
    NR_PCAP_NO_INTERFACE = -3,  /* no interface of that name, or it has vanished */
    NR_PCAP_INTERFACE_DOWN = -4,
    NR_PCAP_BAD_FILTER = -5,
} nr_pcap_status;

typedef struct nr_pcap_counts {
    uint64_t received;          /* frames that passed the filter */
    uint64_t dropped;           /* frames the kernel had no room for */
    uint64_t interface_dropped; /* frames the interface or its driver lost */
} nr_pcap_counts;

typedef void (*nr_pcap_receiver)(void* context, const nr_pcap_frame* frame);

/* Opens and starts a capture that does not block. NULL with the reason in `status` and `error`. */
nr_pcap* nr_pcap_open(const nr_pcap_options* options, nr_pcap_status* status, char error[NR_PCAP_ERROR_SIZE]);
/* The registered link-type number of the frames. */
uint16_t nr_pcap_link(const nr_pcap* capture);
/* A descriptor that polls as readable when there are frames. */
int nr_pcap_descriptor(const nr_pcap* capture);
/* Hands the frames that are there, at most `most` (all that the buffer holds when 0), to the receiver; returns their
   number, or a negative `nr_pcap_status` with a message. */
int nr_pcap_dispatch(nr_pcap* capture, int most, nr_pcap_receiver receiver, void* context,
                     char error[NR_PCAP_ERROR_SIZE]);
/* Makes the `nr_pcap_dispatch` that runs return early. May be called from a receiver or a signal handler. */
void nr_pcap_break(nr_pcap* capture);
/* The counts since the capture began; 0, or -1 when the kernel does not tell. */
int nr_pcap_count(nr_pcap* capture, nr_pcap_counts* counts);
/* Whether the interface is there and up; NR_PCAP_FINE for `any`, which always is. */
nr_pcap_status nr_pcap_interface_state(const nr_pcap* capture);
/* Ends the capture; NULL is fine. */
void nr_pcap_close(nr_pcap* capture);

#ifdef __cplusplus
}
#endif

#endif
