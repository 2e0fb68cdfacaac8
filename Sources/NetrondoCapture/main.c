/* Captures on one interface and hands the frames over: a pcap stream on standard output, one line for everything else
   on standard error. It ends when standard input does, so that it never outlives whoever started it.

       listening                    the capture runs
       counts RECEIVED DROPPED LOST twice a second, and at the end: frames that passed the filter, those the kernel had
                                    no room for, those the interface lost
       error KIND TEXT              why it ends; KIND is permission, interface, down, filter or other

   It holds the privilege to capture (CAP_NET_RAW) only until the capture is open, and decodes nothing. */
#define _GNU_SOURCE
#include "CPcapBridge/CPcapBridge.h"

#include <errno.h>
#include <linux/capability.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

enum {
    timeout = 100,             /* milliseconds the kernel may collect frames */
    report_interval = 500,     /* milliseconds between two lines of counts */
    output_size = 256 * 1024,  /* bytes that are written at once */
    default_buffer = 16 << 20, /* bytes of frames the kernel keeps for us */
    largest_buffer = 1 << 30,
};

/* ---- Output ---- */

static uint8_t output[output_size];
static size_t output_used;
static int output_failed; /* the reader has gone */

static void flush(void)
{
    size_t done = 0;
    while (done < output_used && !output_failed) {
        const ssize_t written = write(STDOUT_FILENO, output + done, output_used - done);
        if (written > 0)
            done += (size_t)written;
        else if (written < 0 && errno != EINTR)
            output_failed = 1;
    }
    output_used = 0;
}

static int take(void* context, const void* bytes, size_t count)
{
    (void)context;
    for (const uint8_t* from = bytes; count > 0;) {
        const size_t room = output_size - output_used, part = count < room ? count : room;
        memcpy(output + output_used, from, part);
        output_used += part;
        from += part;
        count -= part;
        if (output_used == output_size)
            flush();
    }
    return output_failed ? -1 : 0;
}

struct route {
    nr_pcap* from;
    nr_pcap_writer* to;
};

/* A reader that has gone wants no more of what the kernel has collected. */
static void put(void* context, const nr_pcap_frame* frame)
{
    const struct route* route = context;
    if (nr_pcap_writer_put(route->to, frame) != 0)
        nr_pcap_break(route->from);
}

/* ---- Reports ---- */

static int fail(nr_pcap_status status, const char* text)
{
    const char* kind = "other";
    switch (status) {
    case NR_PCAP_NO_PERMISSION: kind = "permission"; break;
    case NR_PCAP_NO_INTERFACE: kind = "interface"; break;
    case NR_PCAP_INTERFACE_DOWN: kind = "down"; break;
    case NR_PCAP_BAD_FILTER: kind = "filter"; break;
    case NR_PCAP_FINE:
    case NR_PCAP_FAILED: break;
    }
    char line[NR_PCAP_ERROR_SIZE];
    snprintf(line, sizeof line, "%s", text);
    line[strcspn(line, "\r\n")] = '\0';
    fprintf(stderr, "error %s %s\n", kind, line);
    return EXIT_FAILURE;
}

static void report(nr_pcap* capture)
{
    nr_pcap_counts counts;
    if (nr_pcap_count(capture, &counts) == 0)
        fprintf(stderr, "counts %llu %llu %llu\n", (unsigned long long)counts.received,
                (unsigned long long)counts.dropped, (unsigned long long)counts.interface_dropped);
}

/* ---- Privileges ---- */

/* From here on a flaw in what follows is worth nothing to an attacker. */
static int drop_privileges(void)
{
    struct __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    struct __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3];
    memset(none, 0, sizeof none);
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && syscall(SYS_capset, &header, none) == 0 ? 0 : -1;
}

/* ---- The loop ---- */

static volatile sig_atomic_t asked_to_end;

static void end(int number)
{
    (void)number;
    asked_to_end = 1;
}

static long long milliseconds(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

/* True once standard input has ended; whatever is written to it is read and ignored. */
static int input_ended(void)
{
    char ignored[256];
    return read(STDIN_FILENO, ignored, sizeof ignored) == 0;
}

static int run(nr_pcap* capture, nr_pcap_writer* writer)
{
    char error[NR_PCAP_ERROR_SIZE];
    struct route route = {capture, writer};
    long long next_report = milliseconds() + report_interval;
    int code = 0;
    while (!asked_to_end && !output_failed) {
        struct pollfd waiting[] = {{STDIN_FILENO, POLLIN, 0}, {nr_pcap_descriptor(capture), POLLIN, 0}};
        poll(waiting, 2, timeout);
        if (waiting[0].revents != 0 && input_ended())
            break;
        code = nr_pcap_dispatch(capture, 0, put, &route, error);
        flush();
        if (code < 0)
            break;
        if (milliseconds() < next_report)
            continue;
        next_report = milliseconds() + report_interval;
        report(capture);
        code = (int)nr_pcap_interface_state(capture);
        if (code != NR_PCAP_FINE) {
            snprintf(error, sizeof error, "%s",
                     code == NR_PCAP_INTERFACE_DOWN ? "the interface went down" : "the interface vanished");
            break;
        }
    }
    if (code >= 0) { /* what came until now */
        struct pollfd last = {nr_pcap_descriptor(capture), POLLIN, 0};
        poll(&last, 1, timeout);
        nr_pcap_dispatch(capture, 0, put, &route, error);
    }
    flush();
    report(capture);
    return code < 0 ? fail((nr_pcap_status)code, error) : EXIT_SUCCESS;
}

/* ---- Options ---- */

static const char usage[] = "Usage: netrondo-capture -i INTERFACE [-f FILTER] [-s SNAPLEN] [-B BYTES] [-p]\n"
                            "Part of netrondo, which starts it: see netrondo capture --help.\n";

static int number(const char* text, long least, long most, uint32_t* out)
{
    char* rest;
    errno = 0;
    const long value = strtol(text, &rest, 10);
    *out = (uint32_t)value;
    return errno == 0 && *rest == '\0' && rest != text && value >= least && value <= most;
}

static int parse(int argc, char** argv, nr_pcap_options* options)
{
    int letter, fine = 1;
    while ((letter = getopt(argc, argv, "i:f:s:B:p")) != -1) {
        switch (letter) {
        case 'i': options->interface = optarg; break;
        case 'f': options->filter = optarg; break;
        case 's': fine &= number(optarg, 1, NR_PCAP_LARGEST_SNAPLEN, &options->snaplen); break;
        case 'B': fine &= number(optarg, 4096, largest_buffer, &options->buffer_size); break;
        case 'p': options->promiscuous = 0; break;
        default: fine = 0;
        }
    }
    return fine && optind == argc && options->interface != NULL;
}

int main(int argc, char** argv)
{
    nr_pcap_options options = {
        .snaplen = NR_PCAP_LARGEST_SNAPLEN,
        .promiscuous = 1,
        .timeout = timeout,
        .buffer_size = default_buffer,
    };
    opterr = 0;
    if (!parse(argc, argv, &options)) {
        fputs(usage, stderr);
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    struct sigaction action = {.sa_handler = end};
    sigaction(SIGTERM, &action, NULL);
    sigaction(SIGINT, &action, NULL);

    nr_pcap_status status;
    char error[NR_PCAP_ERROR_SIZE] = "";
    nr_pcap* capture = nr_pcap_open(&options, &status, error);
    if (!capture)
        return fail(status, error);
    int result;
    nr_pcap_writer* writer = nr_pcap_writer_open(nr_pcap_link(capture), options.snaplen, 0, take, NULL);
    if (drop_privileges() != 0) {
        result = fail(NR_PCAP_FAILED, "the privilege to capture cannot be given up");
    } else if (!writer) {
        result = fail(NR_PCAP_FAILED, "out of memory");
    } else {
        flush();
        fputs("listening\n", stderr);
        result = run(capture, writer);
    }
    nr_pcap_writer_close(writer);
    nr_pcap_close(capture);
    return result;
}
