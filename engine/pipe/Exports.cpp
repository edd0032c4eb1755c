#include "engine/pipe/Channel.h"
#include "engine/pipe/Frame.h"
#include "engine/pipe/TarnCommunication.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace {

struct PipeEnd
{
    std::unique_ptr<Channel> channel;
    Frame::Reader reader;
};

/** The handles of this process. Never destroyed: threads may still use it while it ends. */
class HandleTable
{
public:
    static HandleTable &instance()
    {
        static auto *table = new HandleTable;
        return *table;
    }

    std::int32_t add(std::unique_ptr<Channel> channel)
    {
        const std::lock_guard lock(mutex);
        const std::int32_t id = nextId;
        nextId = nextId == std::numeric_limits<std::int32_t>::max() ? 1 : nextId + 1;
        auto end = std::make_shared<PipeEnd>();
        end->channel = std::move(channel);
        ends[id] = std::move(end);
        return id;
    }

    std::shared_ptr<PipeEnd> find(const std::int32_t *id)
    {
        if (id == nullptr)
            return nullptr;
        // The id stands in a packed record of the caller's and need not be aligned.
        std::int32_t value = 0;
        std::memcpy(&value, id, sizeof value);
        const std::lock_guard lock(mutex);
        const auto it = ends.find(value);
        return it != ends.end() ? it->second : nullptr;
    }

    void remove(const std::int32_t *id)
    {
        if (id == nullptr)
            return;
        std::int32_t value = 0;
        std::memcpy(&value, id, sizeof value);
        std::shared_ptr<PipeEnd> removed;
        const std::lock_guard lock(mutex);
        if (const auto it = ends.find(value); it != ends.end()) {
            removed = std::move(it->second);
            ends.erase(it);
        }
    }

private:
    std::mutex mutex;
    std::map<std::int32_t, std::shared_ptr<PipeEnd>> ends;
    std::int32_t nextId = 1;
};

const std::int32_t *idAddress(const TarnPipeRecord *record)
{
    return reinterpret_cast<const std::int32_t *>(reinterpret_cast<const char *>(record) +
                                                  offsetof(TarnPipeRecord, id));
}

/** Names that every platform can take for a pipe. */
bool isPipeName(const std::string &name)
{
    return !name.empty() && name.front() != '.' && name.find_first_of("/\\") == std::string::npos;
}

/** Makes the channel that a record describes, or null when the record is no good. */
std::unique_ptr<Channel> channelFor(const TarnPipeRecord *record)
{
    if (record == nullptr ||
        std::memchr(record->serverName, 0, sizeof record->serverName) == nullptr)
        return nullptr;
    const std::string name = record->serverName;
    if (!isPipeName(name))
        return nullptr;
    return makeChannel(name, record->isRead != 0 ? Direction::Read : Direction::Write);
}

} // namespace

std::int32_t init_communication_sdk(TarnPipeRecord *record)
{
    auto channel = channelFor(record);
    if (!channel)
        return CommunicationBadRecord;
    record->id = HandleTable::instance().add(std::move(channel));
    return CommunicationOk;
}

std::int32_t tarn_comm_connect(TarnPipeRecord *record)
{
    if (record == nullptr)
        return CommunicationBadRecord;
    const auto end = HandleTable::instance().find(idAddress(record));
    return end ? end->channel->connect() : CommunicationBadHandle;
}

std::int32_t tarn_comm_create(TarnPipeRecord *record)
{
    auto channel = channelFor(record);
    if (!channel)
        return CommunicationBadRecord;
    const CommunicationCode code = channel->create();
    if (code == CommunicationOk)
        record->id = HandleTable::instance().add(std::move(channel));
    return code;
}

std::int32_t tarn_comm_accept(const std::int32_t *id, std::uint32_t timeoutMs)
{
    const auto end = HandleTable::instance().find(id);
    return end ? end->channel->accept(timeoutMs) : CommunicationBadHandle;
}

std::int32_t tarn_comm_write(const std::int32_t *id, const char *bytes, std::uint32_t size,
                             std::uint8_t /*flag*/)
{
    const auto end = HandleTable::instance().find(id);
    if (!end || size > Frame::longestMessage)
        return 0;
    const auto header = Frame::header(size);
    if (end->channel->send(header.data(), header.size()) != header.size())
        return 0;
    return static_cast<std::int32_t>(
        end->channel->send(reinterpret_cast<const std::uint8_t *>(bytes), size));
}

std::int32_t tarn_comm_read(const std::int32_t *id, char *buffer, std::uint32_t capacity,
                            std::uint8_t /*flag*/)
{
    const auto end = HandleTable::instance().find(id);
    if (!end)
        return -1;
    end->channel->receive(end->reader.input());
    const auto message = end->reader.take();
    if (!message)
        return end->reader.isBroken() ? -1 : 0;
    const std::size_t size = std::min<std::size_t>(message->size(), capacity);
    if (size > 0)
        std::memcpy(buffer, message->data(), size);
    return static_cast<std::int32_t>(size);
}

std::int32_t tarn_comm_wait(const std::int32_t *id, std::uint32_t timeoutMs)
{
    const auto end = HandleTable::instance().find(id);
    if (!end)
        return -1;
    return end->reader.hasMessage() ? CommunicationReadable : end->channel->wait(timeoutMs);
}

void close_communication_sdk(const std::int32_t *id)
{
    HandleTable::instance().remove(id);
}
