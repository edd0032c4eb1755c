#pragma once

#include <QString>

#include <functional>

/** Generated files that are made once for a checkout, whichever preset's programs want them. */
namespace Recordings {

/**
 * The path of the file of this name, for reading only. When it is not there yet, `make` writes it
 * to the path that it is given, which has the same suffix. Several programs may ask at a time.
 *
 * @param name may contain folders; differs whenever the content of the file would
 */
QString kept(const QString &name, const std::function<void(const QString &path)> &make);

} // namespace Recordings
