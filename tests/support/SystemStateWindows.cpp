#include "tests/support/SystemState.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>

#include <qt_windows.h>

#include <tlhelp32.h>
#include <winternl.h>

#include <memory>
#include <vector>

namespace {

struct HandleCloser
{
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using HandlePtr = std::unique_ptr<void, HandleCloser>;

HandlePtr openProcess(qint64 pid)
{
    return HandlePtr(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE,
                                 static_cast<DWORD>(pid)));
}

QString imageOf(HANDLE process)
{
    std::vector<wchar_t> path(32768);
    auto size = static_cast<DWORD>(path.size());
    if (QueryFullProcessImageNameW(process, 0, path.data(), &size) == 0)
        return {};
    return QDir::fromNativeSeparators(QString::fromWCharArray(path.data(), static_cast<int>(size)));
}

/** Its command line, which only an undocumented class of information tells of another process. */
QString commandLineOf(HANDLE process)
{
    constexpr auto processCommandLine = static_cast<PROCESSINFOCLASS>(60);
    std::vector<char> buffer(65536);
    ULONG size = 0;
    if (NtQueryInformationProcess(process, processCommandLine, buffer.data(),
                                  static_cast<ULONG>(buffer.size()), &size) < 0)
        return {};
    const auto *text = reinterpret_cast<const UNICODE_STRING *>(buffer.data());
    return QString::fromWCharArray(text->Buffer, text->Length / 2);
}

bool copyTree(const QString &folder, const QString &place)
{
    QDir().mkpath(place);
    QDirIterator entries(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    while (entries.hasNext()) {
        const QString entry = entries.next();
        const QString target = place + QLatin1Char('/') + entries.fileName();
        if (!(entries.fileInfo().isDir() ? copyTree(entry, target) : QFile::copy(entry, target)))
            return false;
    }
    return true;
}

} // namespace

bool isRunning(qint64 pid)
{
    const HandlePtr process = openProcess(pid);
    return process && WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT;
}

QList<qint64> processesOf(const QString &executable, const QString &argument)
{
    QList<qint64> found;
    const HandlePtr snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more != 0;
         more = Process32NextW(snapshot.get(), &entry)) {
        const HandlePtr process = openProcess(entry.th32ProcessID);
        if (process && WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT &&
            imageOf(process.get()).compare(executable, Qt::CaseInsensitive) == 0 &&
            commandLineOf(process.get()).contains(argument))
            found.append(entry.th32ProcessID);
    }
    return found;
}

QStringList pipeNames(const QStringList &tokens)
{
    QStringList found;
    for (const QString &token : tokens) {
        for (const QString &kind : {QStringLiteral("receive"), QStringLiteral("return")}) {
            const QString name = QStringLiteral("VideoRepairServer_%1_%2").arg(kind, token);
            if (pipeExists(name))
                found.append(name);
        }
    }
    return found;
}

bool pipeExists(const QString &name)
{
    const QString path = QStringLiteral("\\\\.\\pipe\\") + name;
    return WaitNamedPipeW(reinterpret_cast<const wchar_t *>(path.utf16()), 1) != 0 ||
           GetLastError() != ERROR_FILE_NOT_FOUND;
}

quint64 currentThreadId()
{
    return GetCurrentThreadId();
}

bool placeFolder(const QString &folder, const QString &place)
{
    return copyTree(folder, place);
}

void removePlaced(const QString &place)
{
    QDir(place).removeRecursively();
}

QString programName(const QString &name)
{
    return name + QStringLiteral(".exe");
}

QString possibleName(const QString &name)
{
    static const QRegularExpression forbidden(QStringLiteral(R"([\x01-\x1f<>:"/\\|?*])"));
    return QString(name).replace(forbidden, QStringLiteral("_"));
}
