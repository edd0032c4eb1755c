#include "engine/device/Device.h"

#include <algorithm>

void Device::complete(const Device &other)
{
    if (!make)
        make = other.make;
    if (!model)
        model = other.model;
}

std::optional<DeviceName> deviceName(std::string_view text, std::string source)
{
    // What a damaged file calls a name may be of any length.
    constexpr std::size_t longest = 256;
    constexpr std::string_view around(" \t\r\n\0", 5);
    const std::size_t begin = text.find_first_not_of(around);
    if (begin == std::string_view::npos)
        return std::nullopt;
    text = text.substr(begin);
    text = text.substr(0, std::min(text.find('\0'), longest));
    text = text.substr(0, text.find_last_not_of(around) + 1);
    return DeviceName{.value = std::string(text), .source = std::move(source)};
}
