/* The module: the one file that knows the optional capture-file library. */
#include "CWiretapBridge/WiretapModule.h"

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <wireshark.h>

#include <wiretap/wtap.h>
#include <wsutil/wslog.h>

enum { no_link = 65535, ethernet_link = 1 };

struct nr_wtap {
    wtap* file;
    wtap_rec record;
    Buffer bytes;
};

static pthread_once_t once = PTHREAD_ONCE_INIT;

/* The library talks to whoever develops it; what users need to know comes back as errors. */
static void keep_silent(const char* domain, enum ws_log_level level, struct timespec time, const char* file, long line,
                        const char* function, const char* format, va_list arguments, void* data)
{
    (void)domain, (void)level, (void)time, (void)file, (void)line, (void)function, (void)format, (void)arguments;
    (void)data;
}

static void initialise(void)
{
    ws_log_init_with_writer("netrondo", keep_silent, NULL);
    wtap_init(FALSE);
}

static void say(char error[NR_WTAP_ERROR_SIZE], int code, gchar* detail)
{
    snprintf(error, NR_WTAP_ERROR_SIZE, "%s%s%s", wtap_strerror(code), detail ? ": " : "", detail ? detail : "");
    g_free(detail);
}

/* ERF records of Ethernet, in their several dresses, give Ethernet frames. */
static int is_ethernet_in_erf(const wtap_packet_header* packet)
{
    enum { eth = 2, color_eth = 11, dsm_color_eth = 16, color_hash_eth = 20 };
    const unsigned type = packet->pseudo_header.erf.phdr.type & 0x7f;
    return type == eth || type == color_eth || type == dsm_color_eth || type == color_hash_eth;
}

struct encapsulation {
    int number; /* the library's */
    uint16_t link;
};

/* The link layers of networks; what else the library calls so belongs to buses, radios, logs, pictures and texts. */
static const struct encapsulation encapsulations[] = {
    {WTAP_ENCAP_ETHERNET, ethernet_link},
    {WTAP_ENCAP_TOKEN_RING, 6},
    {WTAP_ENCAP_PPP, 9},
    {WTAP_ENCAP_FDDI, 10},
    {WTAP_ENCAP_FDDI_BITSWAPPED, 10},
    {WTAP_ENCAP_RAW_IP, 12},
    {WTAP_ENCAP_RAW_IP4, 228},
    {WTAP_ENCAP_RAW_IP6, 229},
    {WTAP_ENCAP_NULL, 0},
    {WTAP_ENCAP_CHDLC, 104},
    {WTAP_ENCAP_IEEE_802_11, 105},
    {WTAP_ENCAP_IEEE_802_11_WITH_RADIO, 105},
    {WTAP_ENCAP_FRELAY, 107},
    {WTAP_ENCAP_SLL, 113},
    {WTAP_ENCAP_SLL2, 276},
    {WTAP_ENCAP_IEEE_802_11_RADIOTAP, 127},
};

static uint16_t link_of(int number)
{
    for (size_t i = 0; i < sizeof encapsulations / sizeof *encapsulations; ++i)
        if (encapsulations[i].number == number)
            return encapsulations[i].link;
    return no_link;
}

static nr_wtap* open_file(const char* path, int* unknown, char error[NR_WTAP_ERROR_SIZE])
{
    pthread_once(&once, initialise);
    int code = 0;
    gchar* detail = NULL;
    *unknown = 0;
    wtap* file = wtap_open_offline(path, WTAP_TYPE_AUTO, &code, &detail, FALSE);
    if (!file) {
        *unknown = code == WTAP_ERR_FILE_UNKNOWN_FORMAT;
        say(error, code, detail);
        return NULL;
    }
    const int encapsulation = wtap_file_encap(file);
    if (encapsulation != WTAP_ENCAP_PER_PACKET && encapsulation != WTAP_ENCAP_ERF
        && link_of(encapsulation) == no_link) {
        *unknown = 1;
        wtap_close(file);
        return NULL;
    }
    nr_wtap* opened = calloc(1, sizeof *opened);
    if (!opened) {
        snprintf(error, NR_WTAP_ERROR_SIZE, "out of memory");
        wtap_close(file);
        return NULL;
    }
    opened->file = file;
    wtap_rec_init(&opened->record);
    ws_buffer_init(&opened->bytes, 2048);
    return opened;
}

static uint16_t file_link(nr_wtap* opened)
{
    const int encapsulation = wtap_file_encap(opened->file);
    return encapsulation == WTAP_ENCAP_ERF ? ethernet_link : link_of(encapsulation);
}

static int next(nr_wtap* opened, nr_wtap_frame* frame, char error[NR_WTAP_ERROR_SIZE])
{
    int code = 0;
    gchar* detail = NULL;
    gint64 offset = 0;
    wtap_rec* record = &opened->record;
    for (;;) {
        wtap_rec_reset(record);
        if (!wtap_read(opened->file, record, &opened->bytes, &code, &detail, &offset)) {
            if (code == 0)
                return 0;
            say(error, code, detail);
            return -1;
        }
        if (record->rec_type == REC_TYPE_PACKET)
            break;
    }
    const wtap_packet_header* packet = &record->rec_header.packet_header;
    frame->seconds = record->ts.secs;
    frame->nanoseconds = record->ts.nsecs < 0 ? 0 : (uint32_t)record->ts.nsecs;
    frame->captured = packet->caplen;
    frame->original = packet->len;
    frame->link = packet->pkt_encap != WTAP_ENCAP_ERF ? link_of(packet->pkt_encap)
        : is_ethernet_in_erf(packet)                  ? ethernet_link
                                                      : no_link;
    frame->data = ws_buffer_start_ptr(&opened->bytes);
    return 1;
}

static uint64_t offset_of(nr_wtap* opened)
{
    const gint64 offset = wtap_read_so_far(opened->file);
    return offset < 0 ? 0 : (uint64_t)offset;
}

static void close_file(nr_wtap* opened)
{
    wtap_rec_cleanup(&opened->record);
    ws_buffer_free(&opened->bytes);
    wtap_close(opened->file);
    free(opened);
}

__attribute__((visibility("default"))) extern const nr_wtap_module_table nr_wtap_module;
const nr_wtap_module_table nr_wtap_module = {
    .version = NR_WTAP_MODULE_VERSION,
    .open = open_file,
    .link = file_link,
    .next = next,
    .offset = offset_of,
    .close = close_file,
};
