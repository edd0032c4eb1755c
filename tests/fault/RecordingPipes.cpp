// A pipe library that shows what it is called with in what it returns.

#include <cstddef>
#include <cstdint>

#ifdef _WIN32
#define EXPORT __declspec(dllexport)
#else
#define EXPORT __attribute__((visibility("default")))
#endif

namespace {

constexpr std::ptrdiff_t idOffset = 1088;

char *initialised = nullptr;

bool isIdOfRecord(const void *id)
{
    return id == initialised + idOffset;
}

} // namespace

extern "C" {

EXPORT std::int32_t init_communication_sdk(void *record)
{
    initialised = static_cast<char *>(record);
    return 0;
}

EXPORT std::int32_t tarn_comm_connect(void *record)
{
    return record == initialised ? 0 : -1;
}

/** 1000 times the flag and the size, negative for a wrong handle. */
EXPORT std::int32_t tarn_comm_write(const void *id, const char * /*bytes*/, std::uint32_t size,
                                    std::uint8_t flag)
{
    const auto result = static_cast<std::int32_t>(1000U * flag + size);
    return isIdOfRecord(id) ? result : -result;
}

/** The same with the capacity. */
EXPORT std::int32_t tarn_comm_read(const void *id, char * /*buffer*/, std::uint32_t capacity,
                                   std::uint8_t flag)
{
    const auto result = static_cast<std::int32_t>(1000U * flag + capacity);
    return isIdOfRecord(id) ? result : -result;
}

/** Forgets the record it is called for. */
EXPORT void close_communication_sdk(const void *id)
{
    if (isIdOfRecord(id))
        initialised = nullptr;
}
}
