#pragma once

#include <QString>

#include <concepts>
#include <type_traits>

/**
 * Filling of patterns with numbered placeholders ("%1", "%2").
 *
 * All placeholders are filled in one pass, so a value that itself holds "%1" (a file may well be
 * named so) comes out as it is. Chained calls of QString::arg would fill it in again.
 */
namespace TextPattern {

/** A text is written as it is. */
inline const QString &toText(const QString &value)
{
    return value;
}

/** A whole number is written in decimal. */
template <std::integral Number>
requires(!std::same_as<Number, bool>) QString toText(Number value)
{
    return QString::number(value);
}

/** A flag is written as 1 or 0. */
template <std::same_as<bool> Flag>
QString toText(Flag value)
{
    return value ? QStringLiteral("1") : QStringLiteral("0");
}

/**
 * Returns `pattern` with "%1", "%2", ... replaced by `values` in order: strings as they are,
 * whole numbers in decimal, flags as 1 or 0. May be called from any thread.
 */
template <typename... Values>
QString fill(const QString &pattern, const Values &...values)
{
    if constexpr (sizeof...(values) == 0)
        return pattern;
    else
        return pattern.arg(toText(values)...);
}

} // namespace TextPattern
