/* libpcap, and the little that Linux has to say beside it. */
#define _GNU_SOURCE
#include "CPcapBridge.h"

#include <errno.h>
#include <net/if.h>
#include <netinet/in.h>
#include <pcap/pcap.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

/* ---- Writing ---- */

enum { file_header_size = 24, link_offset = 20 };

struct nr_pcap_writer {
    pcap_t* dead;
    pcap_dumper_t* dumper;
    nr_pcap_sink sink;
    void* context;
    uint16_t link;
    uint8_t header[file_header_size]; /* collected until it is whole */
    size_t header_size;
    int failed;
};

static void hand_on(nr_pcap_writer* writer, const void* bytes, size_t count)
{
    if (!writer->failed && count > 0 && writer->sink(writer->context, bytes, count) != 0)
        writer->failed = 1;
}

/* libpcap writes raw IP under the number 101, whatever number it came under. The file keeps the number it was asked
   for, so that a copy says what its source says. */
static ssize_t write_through(void* cookie, const char* bytes, size_t count)
{
    nr_pcap_writer* writer = cookie;
    size_t taken = 0;
    if (writer->header_size < file_header_size) {
        taken = file_header_size - writer->header_size;
        if (taken > count)
            taken = count;
        memcpy(writer->header + writer->header_size, bytes, taken);
        writer->header_size += taken;
        if (writer->header_size == file_header_size) {
            const uint32_t link = writer->link; /* libpcap writes headers in the machine's own byte order */
            memcpy(writer->header + link_offset, &link, sizeof link);
            hand_on(writer, writer->header, sizeof writer->header);
        }
    }
    hand_on(writer, bytes + taken, count - taken);
    return writer->failed ? 0 : (ssize_t)count;
}

nr_pcap_writer* nr_pcap_writer_open(uint16_t link, uint32_t snaplen, int nanoseconds, nr_pcap_sink sink, void* context)
{
    nr_pcap_writer* writer = calloc(1, sizeof *writer);
    if (!writer)
        return NULL;
    writer->sink = sink;
    writer->context = context;
    writer->link = link;
    const cookie_io_functions_t functions = {.write = write_through};
    FILE* stream = fopencookie(writer, "w", functions);
    /* Ethernet stands in, as libpcap refuses some numbers; the header gets the real one on its way out. */
    writer->dead = pcap_open_dead_with_tstamp_precision(
        DLT_EN10MB, (int)snaplen, nanoseconds ? PCAP_TSTAMP_PRECISION_NANO : PCAP_TSTAMP_PRECISION_MICRO);
    if (stream && writer->dead) {
        setvbuf(stream, NULL, _IONBF, 0); /* whoever takes the bytes collects them */
        writer->dumper = pcap_dump_fopen(writer->dead, stream);
    }
    if (writer->dumper && !writer->failed)
        return writer;
    if (stream && !writer->dumper)
        fclose(stream);
    nr_pcap_writer_close(writer);
    return NULL;
}

int nr_pcap_writer_put(nr_pcap_writer* writer, const nr_pcap_frame* frame)
{
    const struct pcap_pkthdr header = {
        .ts = {.tv_sec = frame->seconds, .tv_usec = frame->fraction},
        .caplen = frame->captured,
        .len = frame->original,
    };
    pcap_dump((u_char*)writer->dumper, &header, frame->data);
    return writer->failed ? -1 : 0;
}

void nr_pcap_writer_close(nr_pcap_writer* writer)
{
    if (!writer)
        return;
    if (writer->dumper)
        pcap_dump_close(writer->dumper);
    if (writer->dead)
        pcap_close(writer->dead);
    free(writer);
}

/* ---- Capture filters ---- */

static void say(char error[NR_PCAP_ERROR_SIZE], const char* text)
{
    snprintf(error, NR_PCAP_ERROR_SIZE, "%s", text);
}

int nr_pcap_check_filter(const char* expression, uint16_t link, char error[NR_PCAP_ERROR_SIZE])
{
    enum { raw_link = 12, raw_link_in_files = 101 };
    const int type = link == raw_link_in_files ? raw_link : link;
    pcap_t* dead = pcap_open_dead(type, NR_PCAP_LARGEST_SNAPLEN);
    if (!dead) {
        say(error, "out of memory");
        return -1;
    }
    struct bpf_program program;
    const int result = pcap_compile(dead, &program, expression, 1, PCAP_NETMASK_UNKNOWN);
    if (result == 0)
        pcap_freecode(&program);
    else
        say(error, pcap_geterr(dead));
    pcap_close(dead);
    return result == 0 ? 0 : -1;
}

/* ---- Interfaces ---- */

static const char any_interface[] = "any";

/* libpcap also lists what is no network interface: logs of the firewall, buses, radios. */
static int is_network_interface(const pcap_if_t* interface)
{
    return strcmp(interface->name, any_interface) == 0 || if_nametoindex(interface->name) != 0;
}

static size_t collect_addresses(const pcap_if_t* interface, nr_pcap_address* out)
{
    size_t count = 0;
    for (const pcap_addr_t* entry = interface->addresses; entry; entry = entry->next) {
        if (!entry->addr)
            continue;
        nr_pcap_address address = {.size = 0};
        if (entry->addr->sa_family == AF_INET) {
            struct sockaddr_in ipv4;
            memcpy(&ipv4, entry->addr, sizeof ipv4);
            memcpy(address.bytes, &ipv4.sin_addr, 4);
            address.size = 4;
        } else if (entry->addr->sa_family == AF_INET6) {
            struct sockaddr_in6 ipv6;
            memcpy(&ipv6, entry->addr, sizeof ipv6);
            memcpy(address.bytes, &ipv6.sin6_addr, 16);
            address.size = 16;
        }
        if (address.size == 0)
            continue;
        if (out)
            out[count] = address;
        ++count;
    }
    return count;
}

static unsigned flags_of(const pcap_if_t* interface)
{
    unsigned flags = 0;
    if (interface->flags & PCAP_IF_UP)
        flags |= NR_PCAP_UP;
    if (interface->flags & PCAP_IF_RUNNING)
        flags |= NR_PCAP_RUNNING;
    if (interface->flags & PCAP_IF_LOOPBACK)
        flags |= NR_PCAP_LOOPBACK;
    if (interface->flags & PCAP_IF_WIRELESS)
        flags |= NR_PCAP_WIRELESS;
    return flags;
}

int nr_pcap_list(nr_pcap_visitor visitor, void* context, char error[NR_PCAP_ERROR_SIZE])
{
    pcap_if_t* all = NULL;
    char text[PCAP_ERRBUF_SIZE] = "";
    if (pcap_findalldevs(&all, text) != 0) {
        say(error, text);
        return -1;
    }
    int result = 0;
    for (const pcap_if_t* entry = all; entry && result == 0; entry = entry->next) {
        if (!is_network_interface(entry))
            continue;
        const size_t count = collect_addresses(entry, NULL);
        nr_pcap_address* addresses = calloc(count + 1, sizeof *addresses);
        if (!addresses) {
            say(error, "out of memory");
            result = -1;
            break;
        }
        collect_addresses(entry, addresses);
        const nr_pcap_interface interface = {
            .name = entry->name,
            .description = entry->description ? entry->description : "",
            .flags = flags_of(entry),
            .addresses = addresses,
            .address_count = count,
        };
        visitor(context, &interface);
        free(addresses);
    }
    pcap_freealldevs(all);
    return result;
}

/* ---- Live capture ---- */

struct nr_pcap {
    pcap_t* handle;
    unsigned index; /* of the interface, 0 for `any`: a new one of the same name is not the one we listen on */
    int control;    /* a socket to ask about interfaces with */
    char name[IF_NAMESIZE];
    uint32_t last_received, last_dropped, last_interface_dropped;
    nr_pcap_counts counts;
};

static nr_pcap_status status_of(int code)
{
    switch (code) {
    case PCAP_ERROR_PERM_DENIED:
    case PCAP_ERROR_PROMISC_PERM_DENIED: return NR_PCAP_NO_PERMISSION;
    case PCAP_ERROR_NO_SUCH_DEVICE: return NR_PCAP_NO_INTERFACE;
    case PCAP_ERROR_IFACE_NOT_UP: return NR_PCAP_INTERFACE_DOWN;
    default: return NR_PCAP_FAILED;
    }
}

static nr_pcap_status activate(nr_pcap* capture, const nr_pcap_options* options, char error[NR_PCAP_ERROR_SIZE])
{
    pcap_t* handle = capture->handle;
    pcap_set_snaplen(handle, (int)options->snaplen);
    pcap_set_promisc(handle, options->promiscuous);
    pcap_set_timeout(handle, options->timeout);
    pcap_set_buffer_size(handle, (int)options->buffer_size);
    const int code = pcap_activate(handle);
    if (code < 0) {
        const char* more = pcap_geterr(handle);
        say(error, more && *more ? more : pcap_statustostr(code));
        return status_of(code);
    }
    struct bpf_program program;
    if (options->filter && *options->filter) {
        if (pcap_compile(handle, &program, options->filter, 1, PCAP_NETMASK_UNKNOWN) != 0) {
            say(error, pcap_geterr(handle));
            return NR_PCAP_BAD_FILTER;
        }
        const int set = pcap_setfilter(handle, &program);
        pcap_freecode(&program);
        if (set != 0) {
            say(error, pcap_geterr(handle));
            return NR_PCAP_FAILED;
        }
    }
    char text[PCAP_ERRBUF_SIZE] = "";
    if (pcap_setnonblock(handle, 1, text) != 0) {
        say(error, text);
        return NR_PCAP_FAILED;
    }
    return NR_PCAP_FINE;
}

nr_pcap* nr_pcap_open(const nr_pcap_options* options, nr_pcap_status* status, char error[NR_PCAP_ERROR_SIZE])
{
    char text[PCAP_ERRBUF_SIZE] = "";
    nr_pcap* capture = calloc(1, sizeof *capture);
    *status = NR_PCAP_FAILED;
    if (!capture) {
        say(error, "out of memory");
        return NULL;
    }
    capture->control = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int is_any = strcmp(options->interface, any_interface) == 0;
    capture->index = is_any ? 0 : if_nametoindex(options->interface);
    snprintf(capture->name, sizeof capture->name, "%s", options->interface);
    if (!is_any && capture->index == 0) {
        *status = NR_PCAP_NO_INTERFACE;
        say(error, "there is no interface of that name");
    } else if (!(capture->handle = pcap_create(options->interface, text))) {
        say(error, text);
    } else if ((*status = activate(capture, options, error)) == NR_PCAP_FINE) {
        return capture;
    }
    nr_pcap_close(capture);
    return NULL;
}

uint16_t nr_pcap_link(const nr_pcap* capture)
{
    return (uint16_t)pcap_datalink(capture->handle);
}

int nr_pcap_descriptor(const nr_pcap* capture)
{
    return pcap_get_selectable_fd(capture->handle);
}

struct delivery {
    nr_pcap_receiver receiver;
    void* context;
};

static void deliver(u_char* user, const struct pcap_pkthdr* header, const u_char* data)
{
    struct delivery delivery;
    memcpy(&delivery, user, sizeof delivery);
    const nr_pcap_frame frame = {
        .seconds = (uint32_t)header->ts.tv_sec,
        .fraction = (uint32_t)header->ts.tv_usec,
        .captured = header->caplen,
        .original = header->len,
        .data = data,
    };
    delivery.receiver(delivery.context, &frame);
}

int nr_pcap_dispatch(nr_pcap* capture, int most, nr_pcap_receiver receiver, void* context,
                     char error[NR_PCAP_ERROR_SIZE])
{
    struct delivery delivery = {receiver, context};
    const int count = pcap_dispatch(capture->handle, most > 0 ? most : -1, deliver, (u_char*)&delivery);
    if (count >= 0 || count == PCAP_ERROR_BREAK)
        return count >= 0 ? count : 0;
    say(error, pcap_geterr(capture->handle));
    const nr_pcap_status state = nr_pcap_interface_state(capture);
    return state == NR_PCAP_FINE ? NR_PCAP_FAILED : state;
}

void nr_pcap_break(nr_pcap* capture)
{
    pcap_breakloop(capture->handle);
}

int nr_pcap_count(nr_pcap* capture, nr_pcap_counts* counts)
{
    struct pcap_stat now;
    if (pcap_stats(capture->handle, &now) != 0)
        return -1;
    /* libpcap counts in 32 bits; a busy link passes that within hours. */
    capture->counts.received += (uint32_t)(now.ps_recv - capture->last_received);
    capture->counts.dropped += (uint32_t)(now.ps_drop - capture->last_dropped);
    capture->counts.interface_dropped += (uint32_t)(now.ps_ifdrop - capture->last_interface_dropped);
    capture->last_received = now.ps_recv;
    capture->last_dropped = now.ps_drop;
    capture->last_interface_dropped = now.ps_ifdrop;
    *counts = capture->counts;
    return 0;
}

nr_pcap_status nr_pcap_interface_state(const nr_pcap* capture)
{
    struct ifreq request;
    if (capture->index == 0 || capture->control < 0)
        return NR_PCAP_FINE;
    memset(&request, 0, sizeof request);
    request.ifr_ifindex = (int)capture->index;
    if (ioctl(capture->control, SIOCGIFNAME, &request) != 0)
        return NR_PCAP_NO_INTERFACE;
    if (ioctl(capture->control, SIOCGIFFLAGS, &request) != 0) /* by the name it has now: it may have been renamed */
        return NR_PCAP_NO_INTERFACE;
    return request.ifr_flags & IFF_UP ? NR_PCAP_FINE : NR_PCAP_INTERFACE_DOWN;
}

void nr_pcap_close(nr_pcap* capture)
{
    if (!capture)
        return;
    if (capture->handle)
        pcap_close(capture->handle);
    if (capture->control >= 0)
        close(capture->control);
    free(capture);
}
