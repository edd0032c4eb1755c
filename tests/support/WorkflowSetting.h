#pragma once

#include "tests/support/FaultFolder.h"
#include "tests/support/LogTail.h"
#include "tests/support/WindowProbe.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QTest>

#include <chrono>

/** A window on the screen with a service of its own, and videos for it. */
class WorkflowSetting
{
public:
    /** @param script of the service; without one there is no program to start */
    explicit WorkflowSetting(const QStringList &script = {}) : fault(script), probe(window)
    {
        serviceLink = QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService");
        if (script.isEmpty())
            QDir().mkpath(serviceLink);
        else
            fault.placeAt(serviceLink);
        linesBefore = readLog(logPath()).size();
        window.show();
    }

    ~WorkflowSetting()
    {
        fault.release();
        Workers::awaitAll(std::chrono::seconds(30));
        if (!QDir().rmdir(serviceLink))
            fault.takeBack();
    }

    WorkflowSetting(const WorkflowSetting &) = delete;
    WorkflowSetting &operator=(const WorkflowSetting &) = delete;

    /** A video that is as good as any for the fault service; its path as the window keeps it. */
    QString file(const QString &name, const QByteArray &content = "video") const
    {
        const QString path = fault.path(QStringLiteral("videos/") + name);
        if (!QFile::exists(path))
            writeFile(path, content);
        return QDir::toNativeSeparators(path);
    }

    QStringList files(const QStringList &names) const
    {
        QStringList paths;
        for (const QString &name : names)
            paths.append(file(name));
        return paths;
    }

    /** So many, with numbers in their names. */
    QStringList files(int count) const
    {
        QStringList paths;
        for (int i = 1; i <= count; ++i)
            paths.append(file(QStringLiteral("video %1.mp4").arg(i)));
        return paths;
    }

    /** Answers metadata, pictures and repairs as they should be; `metadata` is an object. */
    static QStringList goodScript(const QString &metadata = QStringLiteral("{\"codec\":\"h264\"}"))
    {
        return {QStringLiteral("serve"),
                QStringLiteral("when method 107: answer {\"err_code\":0,\"function\":107,"
                               "\"video_info\":%1}")
                    .arg(metadata),
                QStringLiteral("when method 101: output photoPath picture"),
                QStringLiteral("when method 101: answer {\"err_code\":0,\"function\":101}"),
                QStringLiteral("when method 0: output outFilePath repaired"),
                QStringLiteral("when method 0: answer {\"err_code\":0,\"function\":0}"),
                QStringLiteral("when method 1: output outFilePath repaired"),
                QStringLiteral("when method 1: answer {\"err_code\":0,\"function\":1}"),
                QStringLiteral("await")};
    }

    /** Imports, and waits until the service has said what it has to say. */
    bool importFiles(const QStringList &paths)
    {
        probe.addDamagedFiles(paths, true);
        return waitUntilIdle();
    }

    /** Waits until no service has anything to do any more, and what came of it is shown. */
    bool waitUntilIdle()
    {
        const bool isIdle = QTest::qWaitFor(
            [this] {
                return !probe.metadataLoading() && !probe.repairRunning() &&
                       probe.runningThumbs() == 0 && probe.waitingThumbCount() == 0;
            },
            50000);
        settle();
        return isIdle;
    }

    /** "LEVEL message" of this thread's lines so far that have a part in them. */
    QStringList log(const QString &part = {}) const { return tail.texts().filter(part); }

    /** The same of all threads. */
    QStringList fullLog(const QString &part = {}) const
    {
        return textsOf(readLog(logPath()).mid(linesBefore)).filter(part);
    }

    static QString logPath()
    {
        return QCoreApplication::applicationDirPath() + QStringLiteral("/Logs/Korvane.log");
    }

    /** Has everything shown that is to be shown by now: one event leads to the next. */
    static void settle()
    {
        constexpr int rounds = 5;
        for (int i = 0; i < rounds; ++i)
            QCoreApplication::processEvents();
    }

    QScrollArea *list(int page) { return probe.pageWidget(page)->findChild<QScrollArea *>(); }

    QPushButton *button(int page, const QString &text)
    {
        const auto buttons = probe.pageWidget(page)->findChildren<QPushButton *>();
        for (QPushButton *candidate : buttons) {
            if (candidate->text() == text)
                return candidate;
        }
        return nullptr;
    }

    FaultFolder fault;
    LogTail tail;
    MainWindow window;
    WindowProbe probe;

private:
    QString serviceLink;
    qsizetype linesBefore = 0;
};

/** The texts of a row's labels, from top to bottom. */
inline QStringList labelTexts(const QWidget &row)
{
    QStringList texts;
    const auto labels = row.findChildren<QLabel *>();
    for (const QLabel *label : labels)
        texts.append(label->text());
    return texts;
}

/** The button that bears this text, of those in sight with the window; null when there is none. */
inline QPushButton *buttonOf(const QWidget &window, const QString &text)
{
    const auto buttons = window.findChildren<QPushButton *>();
    for (QPushButton *button : buttons) {
        if (button->text() == text && button->isVisibleTo(&window))
            return button;
    }
    return nullptr;
}

/** What is wrong and stays so, some seconds long; empty when nothing is. */
template <typename PresentProblem>
QString lastingProblem(PresentProblem presentProblem)
{
    QString wrong;
    const auto isRight = [&] {
        WorkflowSetting::settle();
        wrong = presentProblem();
        return wrong.isEmpty();
    };
    return QTest::qWaitFor(isRight, 5000) ? QString() : wrong;
}
