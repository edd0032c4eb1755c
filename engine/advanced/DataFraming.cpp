#include "engine/advanced/DataFraming.h"

#include <algorithm>

namespace {

// More say nothing new.
constexpr std::size_t mostExamples = 512;
// A field is believed when so many packets of different sizes bear it out.
constexpr std::size_t leastExamples = 4;

} // namespace

void DataFraming::learn(ByteView start, std::uint32_t size)
{
    largest = std::max(largest, size);
    if (examples.size() < mostExamples)
        examples.push_back({{start.begin(), start.begin() + static_cast<std::ptrdiff_t>(
                                                                std::min(start.size(), startSize))},
                            size});
}

std::int64_t DataFraming::valueOf(const Field &field, ByteView start)
{
    std::uint64_t value = 0;
    for (unsigned i = 0; i < field.width; ++i) {
        const unsigned place = field.isLittle ? field.width - 1 - i : i;
        value = value << 8U | start[field.place + place];
    }
    return static_cast<std::int64_t>(value);
}

void DataFraming::findField()
{
    if (examples.size() < leastExamples)
        return;
    for (const unsigned width : {4U, 2U, 3U}) {
        for (std::size_t place = 0; place + width <= startSize; ++place) {
            for (const bool isLittle : {false, true}) {
                Field candidate = {.place = place, .width = width, .isLittle = isLittle};
                const bool fits =
                    std::all_of(examples.begin(), examples.end(), [&](const Example &example) {
                        if (example.start.size() < place + width)
                            return false;
                        const std::int64_t more = static_cast<std::int64_t>(example.size) -
                                                  valueOf(candidate, example.start);
                        if (&example == examples.data())
                            candidate.more = more;
                        return more == candidate.more;
                    });
                if (fits) {
                    field = candidate;
                    return;
                }
            }
        }
    }
}

void DataFraming::settle()
{
    if (examples.empty())
        return;
    prefix = examples.front().start;
    bool isFixed = true;
    for (const Example &example : examples) {
        const auto end =
            std::mismatch(prefix.begin(), prefix.end(), example.start.begin(), example.start.end());
        prefix.erase(end.first, prefix.end());
        isFixed = isFixed && example.size == examples.front().size;
    }
    // With one example, all of it looks the same.
    if (examples.size() < leastExamples)
        prefix.clear();
    if (isFixed)
        fixedSize = examples.front().size;
    else
        findField();
    examples.clear();
    // Zeros are found anywhere.
    if (std::all_of(prefix.begin(), prefix.end(), [](std::uint8_t byte) { return byte == 0; }))
        prefix.clear();
}

std::uint32_t DataFraming::sizeAt(ByteView start) const
{
    if (start.size() < prefix.size() || !std::equal(prefix.begin(), prefix.end(), start.begin()))
        return 0;
    if (fixedSize > 0)
        return fixedSize;
    if (!field || start.size() < field->place + field->width)
        return 0;
    const std::int64_t size = valueOf(*field, start) + field->more;
    return size > 0 && mayHaveSize(static_cast<std::uint64_t>(size))
               ? static_cast<std::uint32_t>(size)
               : 0;
}
