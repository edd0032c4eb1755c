#pragma once

#include "engine/pipe/TarnCommunication.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/** Which way the bytes go, seen from this end. */
enum class Direction { Write, Read };

/**
 * One end of a byte stream with a name: the seam between messages and the operating system. An
 * end is used by one thread at a time. Destroying it closes it, and takes a name that it created
 * and that no client has taken yet out of the world.
 */
class Channel
{
public:
    virtual ~Channel() = default;

    /** Connects to the creator of the name. */
    virtual CommunicationCode connect() = 0;

    /** Creates the name; fails when it is in use. */
    virtual CommunicationCode create() = 0;

    /**
     * Waits for the one client of a created name. Where names are files the name is free again
     * afterwards; on Windows it is taken until the channel ends.
     */
    virtual CommunicationCode accept(std::uint32_t timeoutMs) = 0;

    /**
     * Sends bytes, waiting while the peer is slow, at most ten seconds without progress.
     * Returns how many were sent.
     */
    virtual std::size_t send(const std::uint8_t *bytes, std::size_t size) = 0;

    /** Appends to `bytes` what has arrived, without waiting. */
    virtual void receive(std::vector<std::uint8_t> &bytes) = 0;

    /** Waits until bytes arrive or the peer is gone. */
    virtual CommunicationEvent wait(std::uint32_t timeoutMs) = 0;
};

/** Makes the platform's channel. The name holds no path separators and no leading dot. */
std::unique_ptr<Channel> makeChannel(const std::string &name, Direction direction);
