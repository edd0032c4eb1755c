#include "service/PipeLibrary.h"

#include "service/DynamicLibrary.h"

#include <cstddef>
#include <utility>

namespace {

// The library does not say what its flag bytes mean; these are the values it is used with.
constexpr std::uint8_t writeFlag = 1;
constexpr std::uint8_t readFlag = 0;

template <typename Function>
void lookUp(void *library, const char *name, Function *&function)
{
    function = reinterpret_cast<Function *>(DynamicLibrary::findExport(library, name));
}

// The library takes the address of the record's own id. The record is packed, so its id cannot
// be bound to a reference.
std::int32_t *idAddress(CommunicationCommonField_t &record)
{
    return reinterpret_cast<std::int32_t *>(reinterpret_cast<char *>(&record) +
                                            offsetof(CommunicationCommonField_t, id));
}

} // namespace

PipeLibrary::PipeLibrary(QString libraryName) : fileName(std::move(libraryName)) {}

PipeLibrary &PipeLibrary::instance()
{
    // Never destroyed: workers may still be inside a call while the process ends.
    static auto *library = new PipeLibrary(QStringLiteral("TarnCommunicationSDK.dll"));
    return *library;
}

PipeLibrary::EntryPoints PipeLibrary::entryPoints()
{
    const std::lock_guard lock(mutex);
    if (handle == nullptr) {
        handle = DynamicLibrary::open(fileName);
        if (handle != nullptr) {
            lookUp(handle, "init_communication_sdk", table.init);
            lookUp(handle, "tarn_comm_connect", table.connect);
            lookUp(handle, "tarn_comm_write", table.write);
            lookUp(handle, "tarn_comm_read", table.read);
            lookUp(handle, "close_communication_sdk", table.close);
        }
    }
    return table;
}

std::int32_t PipeLibrary::init(CommunicationCommonField_t &record)
{
    const auto function = entryPoints().init;
    return function != nullptr ? function(&record) : -1;
}

std::int32_t PipeLibrary::connect(CommunicationCommonField_t &record)
{
    const auto function = entryPoints().connect;
    return function != nullptr ? function(&record) : -1;
}

std::int32_t PipeLibrary::write(CommunicationCommonField_t &record, const char *bytes,
                                std::uint32_t size)
{
    const auto function = entryPoints().write;
    return function != nullptr ? function(idAddress(record), bytes, size, writeFlag) : 0;
}

std::int32_t PipeLibrary::read(CommunicationCommonField_t &record, char *buffer,
                               std::uint32_t capacity)
{
    const auto function = entryPoints().read;
    return function != nullptr ? function(idAddress(record), buffer, capacity, readFlag) : 0;
}

void PipeLibrary::close(CommunicationCommonField_t &record)
{
    if (const auto function = entryPoints().close; function != nullptr)
        function(idAddress(record));
}
