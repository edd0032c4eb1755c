#include "service/RepairClient.h"

#include "app/QtLog.h"
#include "service/PipeLibrary.h"
#include "service/RequestPreparation.h"
#include "service/ServiceExchange.h"
#include "service/ServiceGate.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonParseError>

#include <utility>

namespace {

constexpr int methodQuickRepair = 0;
constexpr int methodAdvancedRepair = 1;
constexpr int methodFirstFrame = 101;
constexpr int methodMetadata = 107;

// Metadata and pictures are short work, whatever time a repair is given.
constexpr int shortTimeoutSeconds = 120;

QString wirePath(const QString &path)
{
    return QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath());
}

/** The payload's method and the three directories that most methods are told of. */
QJsonObject payloadWithDirectories(int method, const RepairRequest &request)
{
    return {
        {QStringLiteral("method"), method},
        {QStringLiteral("logPath"), wirePath(request.logDir)},
        {QStringLiteral("config"), wirePath(request.configDir)},
        {QStringLiteral("tempPath"), wirePath(request.tempDir)},
    };
}

/** Resolves and creates the request's directories; returns what failed, else an empty string. */
QString provideDirectories(RepairRequest &request)
{
    RequestPreparation::resolveDirectories(request);
    return RequestPreparation::createRequestDirectories(request);
}

/** The directory that is to hold a file; empty for an empty path. */
QString parentDirectory(const QString &filePath)
{
    return filePath.isEmpty() ? QString() : QFileInfo(filePath).absolutePath();
}

bool createDirectory(const QString &directory)
{
    return !directory.isEmpty() && QDir().mkpath(directory);
}

QString videoNotFound(const QString &videoPath)
{
    return TextPattern::fill(QStringLiteral("Video file not found: %1"), videoPath);
}

/** Sets code, function, success and sentence from a parsed answer. */
void interpretAnswer(const QJsonObject &answer, RepairResponse &response)
{
    response.object = answer;
    response.errCode = answer.value(QStringLiteral("err_code")).toInt(-1);
    response.function = answer.value(QStringLiteral("function")).toInt(-1);
    // Wanted: for function 1 a positive code tells how the repair went, not that it failed.
    response.ok = response.errCode == 0 || (response.function == 1 && response.errCode > 0);
    response.message =
        response.ok
            ? QStringLiteral("RepairService request finished successfully.")
            : TextPattern::fill(QStringLiteral("RepairService request failed, err_code=%1."),
                                response.errCode);
}

} // namespace

RepairClient::RepairClient() : RepairClient(PipeLibrary::instance()) {}

RepairClient::RepairClient(std::shared_ptr<ServiceGate> serviceGate)
    : RepairClient(PipeLibrary::instance(), std::move(serviceGate))
{
}

RepairClient::RepairClient(PipeOperations &pipeOperations)
    : RepairClient(pipeOperations, std::make_shared<ServiceGate>())
{
}

RepairClient::RepairClient(PipeOperations &pipeOperations, std::shared_ptr<ServiceGate> serviceGate)
    : pipes(&pipeOperations), gate(std::move(serviceGate))
{
}

RepairResponse RepairClient::repair(const RepairRequest &request)
{
    if (!QFileInfo::exists(request.damagedPath))
        return fail(
            TextPattern::fill(QStringLiteral("Damaged file not found: %1"), request.damagedPath),
            -1);
    if (request.advanced && !QFileInfo::exists(request.samplePath))
        return fail(
            TextPattern::fill(QStringLiteral("Sample file not found: %1"), request.samplePath), -1);

    RepairRequest resolved = request;
    if (const QString failure = provideDirectories(resolved); !failure.isEmpty())
        return fail(failure, -1);
    if (const QString directory = parentDirectory(resolved.outFilePath);
        !createDirectory(directory))
        return fail(
            TextPattern::fill(QStringLiteral("Failed to create output directory: %1"), directory),
            -1);

    QJsonObject payload = payloadWithDirectories(
        resolved.advanced ? methodAdvancedRepair : methodQuickRepair, resolved);
    payload.insert(QStringLiteral("damagedPath"), wirePath(resolved.damagedPath));
    payload.insert(QStringLiteral("outFilePath"), wirePath(resolved.outFilePath));
    if (resolved.advanced)
        payload.insert(QStringLiteral("samplePath"), wirePath(resolved.samplePath));
    return send(resolved, payload, resolved.timeoutSeconds);
}

RepairResponse RepairClient::extractMetadata(const RepairRequest &request, const QString &videoPath)
{
    LOG_INFO(QStringLiteral("extractMetadata begin, videoPath=%1"), videoPath);
    if (!QFileInfo::exists(videoPath))
        return fail(videoNotFound(videoPath), -1);

    RepairRequest resolved = request;
    if (const QString failure = provideDirectories(resolved); !failure.isEmpty())
        return fail(failure, -1);

    QJsonObject payload = payloadWithDirectories(methodMetadata, resolved);
    payload.insert(QStringLiteral("videoPath"), wirePath(videoPath));
    RepairResponse response = send(resolved, payload, shortTimeoutSeconds);

    LOG_INFO(QStringLiteral("extractMetadata end, ok=%1, errCode=%2, function=%3"), response.ok,
             response.errCode, response.function);
    return response;
}

RepairResponse RepairClient::extractFirstFrameScale(const RepairRequest &request,
                                                    const QString &videoPath,
                                                    const QString &photoPath, int scale)
{
    LOG_INFO(QStringLiteral("extractFirstFrameScale begin, videoPath=%1, photoPath=%2, scale=%3"),
             videoPath, photoPath, scale);
    if (!QFileInfo::exists(videoPath))
        return fail(videoNotFound(videoPath), -1);
    if (photoPath.isEmpty())
        return fail(QStringLiteral("Thumbnail output path is empty."), -1);
    if (const QString directory = parentDirectory(photoPath); !createDirectory(directory))
        return fail(TextPattern::fill(QStringLiteral("Failed to create thumbnail directory: %1"),
                                      directory),
                    -1);

    RepairRequest resolved = request;
    if (const QString failure = provideDirectories(resolved); !failure.isEmpty())
        return fail(failure, -1);

    const QJsonObject payload{
        {QStringLiteral("method"), methodFirstFrame},
        {QStringLiteral("videoPath"), wirePath(videoPath)},
        {QStringLiteral("photoPath"), wirePath(photoPath)},
        {QStringLiteral("scale"), scale},
    };
    RepairResponse response = send(resolved, payload, shortTimeoutSeconds);
    if (response.ok && !QFileInfo::exists(photoPath)) {
        response.ok = false;
        response.message = TextPattern::fill(
            QStringLiteral("Thumbnail request succeeded, but output file was not found: %1"),
            photoPath);
    }

    LOG_INFO(QStringLiteral("extractFirstFrameScale end, ok=%1, errCode=%2, function=%3"),
             response.ok, response.errCode, response.function);
    return response;
}

RepairResponse RepairClient::send(const RepairRequest &request, const QJsonObject &payload,
                                  int timeoutSeconds)
{
    const QByteArray json = QJsonDocument(payload).toJson(QJsonDocument::Compact);
    LOG_INFO(QStringLiteral("RepairClient::send begin, method=%1, timeoutSeconds=%2, payload=%3"),
             payload.value(QStringLiteral("method")).toInt(-1), timeoutSeconds,
             QString::fromUtf8(json));

    RepairRequest prepared = request;
    const auto paths = RequestPreparation::resolveServicePaths(request.serviceRoot);
    if (const QString failure = RequestPreparation::prepare(prepared, paths); !failure.isEmpty())
        return fail(failure, -1);

    const ServiceExchange::Outcome outcome =
        ServiceExchange(paths, prepared, *pipes, *gate).run(json + '\n', timeoutSeconds);
    if (!outcome.failure.isEmpty())
        return fail(outcome.failure, outcome.failureCode);

    RepairResponse response;
    response.rawResponse = QString::fromUtf8(outcome.answer).trimmed();
    LOG_INFO(QStringLiteral("RepairService raw response=%1"), response.rawResponse);
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(outcome.answer, &parseError);
    if (!document.isObject()) {
        // Not passed through fail(): the line above has the answer itself, which tells more.
        response.message = TextPattern::fill(QStringLiteral("Invalid JSON response: %1"),
                                             parseError.errorString());
        return response;
    }
    interpretAnswer(document.object(), response);

    LOG_INFO(QStringLiteral("RepairClient::send end, ok=%1, errCode=%2, function=%3"), response.ok,
             response.errCode, response.function);
    return response;
}

RepairResponse RepairClient::fail(const QString &message, int errCode)
{
    LOG_ERROR(QStringLiteral("RepairClient fail, errCode=%1, message=%2"), errCode, message);
    RepairResponse response;
    response.errCode = errCode;
    response.message = message;
    return response;
}
