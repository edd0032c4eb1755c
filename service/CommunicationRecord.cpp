#include "service/CommunicationRecord.h"

#include <QByteArray>
#include <QDir>

#include <algorithm>
#include <cstring>

namespace {

template <std::size_t Size>
void setText(char (&field)[Size], const QString &text)
{
    const QByteArray utf8 = QDir::toNativeSeparators(text).toUtf8();
    std::memset(field, 0, Size);
    std::memcpy(field, utf8.constData(), std::min(static_cast<std::size_t>(utf8.size()), Size - 1));
}

} // namespace

CommunicationCommonField_t makeRecord(const QString &pipeName, PipeDirection direction,
                                      const QString &configDir, const QString &logDir)
{
    CommunicationCommonField_t record{};
    setText(record.serverName, pipeName);
    setText(record.localPath, configDir);
    setText(record.logPath, logDir);
    record.isRead = static_cast<std::uint8_t>(direction);
    record.value1159 = 10;
    return record;
}
