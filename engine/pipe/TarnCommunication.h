#pragma once

#include <cstddef>
#include <cstdint>

/**
 * The pipe library's binary interface: message pipes between a client and a service on one
 * machine, for one user.
 *
 * A pipe has a name, one creator (the service), at most one client, and one direction. A message
 * is a run of bytes: one write is one read. Handles are process-wide; operations on different
 * handles may run on different threads, those on one handle may not.
 *
 * Functions that return a code return one of CommunicationCode.
 */

#ifdef _WIN32
#define TARN_EXPORT __declspec(dllexport)
#else
#define TARN_EXPORT __attribute__((visibility("default")))
#endif

#pragma pack(push, 1)
/** Descriptor of one pipe end, 1179 bytes, owned by the caller. */
struct TarnPipeRecord
{
    /** Pipe name, UTF-8, zero-terminated; no path separators, no leading dot. */
    char serverName[64];
    /** The caller's configuration directory; not used here. */
    char localPath[512];
    /** The caller's log directory; not used here. */
    char logPath[512];
    /** Handle, set by init and create. Handles are greater than 0. */
    std::int32_t id;
    std::uint8_t reserved1092[9];
    /** 1 when the caller reads from the pipe, 0 when it writes. */
    std::uint8_t isRead;
    std::uint8_t reserved1102[57];
    /** Callers set 10; not used here. */
    std::int32_t value1159;
    std::uint8_t reserved1163[16];
};
#pragma pack(pop)

static_assert(sizeof(TarnPipeRecord) == 1179);
static_assert(offsetof(TarnPipeRecord, localPath) == 64);
static_assert(offsetof(TarnPipeRecord, logPath) == 576);
static_assert(offsetof(TarnPipeRecord, id) == 1088);
static_assert(offsetof(TarnPipeRecord, isRead) == 1101);
static_assert(offsetof(TarnPipeRecord, value1159) == 1159);

enum CommunicationCode : std::int32_t {
    CommunicationOk = 0,
    /** The record is null, its name is empty, not terminated or not allowed. */
    CommunicationBadRecord = 1,
    /** The handle is not one of this process, or the operation does not fit its state. */
    CommunicationBadHandle = 2,
    /** Nobody serves a pipe of that name. */
    CommunicationNoSuchPipe = 3,
    /** The name is served already. */
    CommunicationNameInUse = 4,
    /** The peer is another user, or the folder of the pipes is not this user's alone. */
    CommunicationRefused = 5,
    /** The time is over. */
    CommunicationTimeout = 6,
    /** The operating system failed. */
    CommunicationSystemError = 7,
};

/** Results of tarn_comm_wait. */
enum CommunicationEvent : std::int32_t {
    /** The time is over and nothing has happened. */
    CommunicationNothing = 0,
    /** Bytes have arrived that no read has taken yet. */
    CommunicationReadable = 1,
    /** The peer has closed the pipe, or has ended; nothing is left to read. */
    CommunicationPeerGone = 2,
};

extern "C" {

// Client's side.

/** Registers a pipe end under a new handle, set in the record. Returns a code. */
TARN_EXPORT std::int32_t init_communication_sdk(TarnPipeRecord *record);

/** Connects to the pipe's creator; does not wait for it to accept. Returns a code. */
TARN_EXPORT std::int32_t tarn_comm_connect(TarnPipeRecord *record);

// Both sides.

/**
 * Writes one message; `flag` has no meaning. Waits as long as the peer makes room, at most ten
 * seconds without progress. Returns the number of bytes of it that were written.
 */
TARN_EXPORT std::int32_t tarn_comm_write(const std::int32_t *id, const char *bytes,
                                         std::uint32_t size, std::uint8_t flag);

/**
 * Takes one message that has arrived whole; does not wait; `flag` has no meaning. What of the
 * message goes beyond `capacity` is dropped. Returns the number of bytes in `buffer`, 0 when no
 * whole message is there, -1 when the handle is bad or the bytes received are no messages.
 */
TARN_EXPORT std::int32_t tarn_comm_read(const std::int32_t *id, char *buffer,
                                        std::uint32_t capacity, std::uint8_t flag);

/**
 * Waits for something to happen on a connected pipe. Returns a CommunicationEvent, or -1 when
 * the handle is bad.
 */
TARN_EXPORT std::int32_t tarn_comm_wait(const std::int32_t *id, std::uint32_t timeoutMs);

/** Releases a pipe end; one that was created and has no client yet is gone with it. */
TARN_EXPORT void close_communication_sdk(const std::int32_t *id);

// Service's side.

/** Creates the named pipe and sets the handle in the record. Returns a code. */
TARN_EXPORT std::int32_t tarn_comm_create(TarnPipeRecord *record);

/** Waits for the pipe's one client. Returns a code. */
TARN_EXPORT std::int32_t tarn_comm_accept(const std::int32_t *id, std::uint32_t timeoutMs);
}
