/*
 * The part of libubox's event loop that a bus context carries: its socket
 * record and the read flag ubus_handle_event passes. The loop itself
 * (uloop_run and its timers) is not in this subset; a host that runs one
 * links the gateway's libubox.
 */
#ifndef LIBUBOX_ULOOP_H
#define LIBUBOX_ULOOP_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct uloop_fd;

typedef void (*uloop_fd_handler)(struct uloop_fd *u, unsigned int events);

#define ULOOP_READ (1 << 0)
#define ULOOP_WRITE (1 << 1)
#define ULOOP_EDGE_TRIGGER (1 << 2)
#define ULOOP_BLOCKING (1 << 3)

struct uloop_fd {
    uloop_fd_handler cb;
    int fd;
    bool eof;
    bool error;
    bool registered;
    uint8_t flags;
};

#ifdef __cplusplus
}
#endif

#endif
