#pragma once

#include <optional>
#include <string>
#include <string_view>

/**
 * Maker and model of the recording device, looked for in a file's own structures. Damaged files are
 * read as far as these can still be found; what cannot is unset.
 */

/** One of the two, as a file states it. */
struct DeviceName
{
    /** Trimmed, of at most 256 bytes; any encoding. Never empty. */
    std::string value;
    /** Where in the file it stands, for people. */
    std::string source;
};

struct Device
{
    std::optional<DeviceName> make;
    std::optional<DeviceName> model;

    bool isComplete() const { return make && model; }
    /** Takes what is still unknown from another place, which is thereby the less preferred one. */
    void complete(const Device &other);
};

/** A name from text as files hold it: without zeros and blanks around it. None when it is empty. */
std::optional<DeviceName> deviceName(std::string_view text, std::string source);
