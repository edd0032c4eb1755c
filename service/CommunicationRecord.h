#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>

/**
 * Descriptor of one pipe end as the pipe library's binary interface lays it out: 1179 bytes,
 * packed, owned by the caller. Fields that this client does not use are reserved and stay zero.
 */
#pragma pack(push, 1)
struct CommunicationCommonField_t
{
    /** Pipe name, UTF-8, zero-terminated. */
    char serverName[64];
    /** Configuration directory, UTF-8, native separators, zero-terminated. */
    char localPath[512];
    /** Log directory, UTF-8, native separators, zero-terminated. */
    char logPath[512];
    /** Handle; set by the library's init, its address is handed to the other operations. */
    std::int32_t id;
    std::uint8_t reserved1092;
    std::int32_t reserved1093;
    std::uint8_t reserved1097[4];
    /** Direction: 1 for a pipe that this side reads, 0 for one that it writes. */
    std::uint8_t isRead;
    std::uint8_t reserved1102;
    std::uint8_t reserved1103[56];
    /** The library expects 10 here; it does not say what of. */
    std::int32_t value1159;
    std::uint8_t reserved1163[16];
};
#pragma pack(pop)

static_assert(sizeof(CommunicationCommonField_t) == 1179);
static_assert(offsetof(CommunicationCommonField_t, serverName) == 0);
static_assert(offsetof(CommunicationCommonField_t, localPath) == 64);
static_assert(offsetof(CommunicationCommonField_t, logPath) == 576);
static_assert(offsetof(CommunicationCommonField_t, id) == 1088);
static_assert(offsetof(CommunicationCommonField_t, reserved1092) == 1092);
static_assert(offsetof(CommunicationCommonField_t, reserved1093) == 1093);
static_assert(offsetof(CommunicationCommonField_t, reserved1097) == 1097);
static_assert(offsetof(CommunicationCommonField_t, isRead) == 1101);
static_assert(offsetof(CommunicationCommonField_t, reserved1102) == 1102);
static_assert(offsetof(CommunicationCommonField_t, reserved1103) == 1103);
static_assert(offsetof(CommunicationCommonField_t, value1159) == 1159);
static_assert(offsetof(CommunicationCommonField_t, reserved1163) == 1163);

enum class PipeDirection { Write = 0, Read = 1 };

/**
 * Returns a zero-filled record with name, directories and direction set. Texts that do not fit
 * are cut to their field's size less the terminating zero byte.
 */
CommunicationCommonField_t makeRecord(const QString &pipeName, PipeDirection direction,
                                      const QString &configDir, const QString &logDir);
