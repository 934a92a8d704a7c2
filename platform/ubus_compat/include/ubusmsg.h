/*
 * The bus wire format: every message is this 8-byte header followed by one
 * blob attribute whose children carry the message's fields (UBUS_ATTR_*).
 * A reply to a method call is a UBUS_MSG_DATA message holding the object id
 * (UBUS_ATTR_OBJID, int32) and the reply's attributes (UBUS_ATTR_DATA).
 */
#ifndef UBUSMSG_H
#define UBUSMSG_H

#include <stdint.h>

#include <libubox/blob.h>

#ifdef __cplusplus
extern "C" {
#endif

#define __packetdata __attribute__((packed)) __attribute__((__aligned__(4)))

#define UBUS_MSG_CHUNK_SIZE 65536

#define UBUS_CLIENT_ID_CHANNEL 1

struct ubus_msghdr {
    uint8_t version; /* 0 */
    uint8_t type;    /* enum ubus_msg_type */
    uint16_t seq;    /* big-endian */
    uint32_t peer;   /* big-endian */
} __packetdata;

enum ubus_msg_type {
    UBUS_MSG_HELLO,
    UBUS_MSG_STATUS,
    UBUS_MSG_DATA,
    UBUS_MSG_PING,
    UBUS_MSG_LOOKUP,
    UBUS_MSG_INVOKE,
    UBUS_MSG_ADD_OBJECT,
    UBUS_MSG_REMOVE_OBJECT,
    UBUS_MSG_SUBSCRIBE,
    UBUS_MSG_UNSUBSCRIBE,
    UBUS_MSG_NOTIFY,
    UBUS_MSG_MONITOR,
    __UBUS_MSG_LAST,
};

enum ubus_msg_attr {
    UBUS_ATTR_UNSPEC,
    UBUS_ATTR_STATUS,
    UBUS_ATTR_OBJPATH,
    UBUS_ATTR_OBJID,
    UBUS_ATTR_METHOD,
    UBUS_ATTR_OBJTYPE,
    UBUS_ATTR_SIGNATURE,
    UBUS_ATTR_DATA,
    UBUS_ATTR_TARGET,
    UBUS_ATTR_ACTIVE,
    UBUS_ATTR_NO_REPLY,
    UBUS_ATTR_SUBSCRIBERS,
    UBUS_ATTR_USER,
    UBUS_ATTR_GROUP,
    UBUS_ATTR_MAX,
};

enum ubus_msg_status {
    UBUS_STATUS_OK,
    UBUS_STATUS_INVALID_COMMAND,
    UBUS_STATUS_INVALID_ARGUMENT,
    UBUS_STATUS_METHOD_NOT_FOUND,
    UBUS_STATUS_NOT_FOUND,
    UBUS_STATUS_NO_DATA,
    UBUS_STATUS_PERMISSION_DENIED,
    UBUS_STATUS_TIMEOUT,
    UBUS_STATUS_NOT_SUPPORTED,
    UBUS_STATUS_UNKNOWN_ERROR,
    UBUS_STATUS_CONNECTION_FAILED,
    UBUS_STATUS_NO_MEMORY,
    UBUS_STATUS_PARSE_ERROR,
    UBUS_STATUS_SYSTEM_ERROR,
    __UBUS_STATUS_LAST
};

#ifdef __cplusplus
}
#endif

#endif
