#pragma once

#include "service/PipeOperations.h"

#include <QString>

#include <mutex>

/**
 * The pipe operations of a dynamic library, looked up by name on the first use of any of them.
 *
 * When loading fails, the next use tries again. A library without one of the exports is used as
 * far as it goes: init and connect then return -1, write and read 0, close does nothing; the same
 * holds while the library is not loaded. Once loaded, it is never unloaded.
 *
 * May be used from any thread; the first fill of the table happens once.
 */
class PipeLibrary final : public PipeOperations
{
public:
    /** @param fileName bare file name, or a path */
    explicit PipeLibrary(QString fileName);

    /** The process's table, of "TarnCommunicationSDK.dll". */
    static PipeLibrary &instance();

    std::int32_t init(CommunicationCommonField_t &record) override;
    std::int32_t connect(CommunicationCommonField_t &record) override;
    std::int32_t write(CommunicationCommonField_t &record, const char *bytes,
                       std::uint32_t size) override;
    std::int32_t read(CommunicationCommonField_t &record, char *buffer,
                      std::uint32_t capacity) override;
    void close(CommunicationCommonField_t &record) override;

private:
    struct EntryPoints
    {
        std::int32_t (*init)(CommunicationCommonField_t *) = nullptr;
        std::int32_t (*connect)(CommunicationCommonField_t *) = nullptr;
        std::int32_t (*write)(const std::int32_t *, const char *, std::uint32_t,
                              std::uint8_t) = nullptr;
        std::int32_t (*read)(const std::int32_t *, char *, std::uint32_t, std::uint8_t) = nullptr;
        void (*close)(const std::int32_t *) = nullptr;
    };

    /** A copy of the table, loaded first if need be. */
    EntryPoints entryPoints();

    QString fileName;
    std::mutex mutex;
    void *handle = nullptr;
    EntryPoints table;
};
