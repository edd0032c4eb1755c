#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/Modals.h"
#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"

#include <QDesktopServices>
#include <QDir>
#include <QDropEvent>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QUrl>

/**
 * The main job as a person does it: real window on a real display, the local service, damaged
 * videos of several kinds.
 */
class JourneyTest : public TestCase
{
    Q_OBJECT

public Q_SLOTS:
    /** Takes the folders that the desktop would be asked to show. */
    void takeUrl(const QUrl &url) { openedUrls.append(url); }

private:
    static constexpr int longMs = 55000;

    static QString demo(const QString &name) { return QStringLiteral(VELLUMIX_DEMO "/") + name; }

    static QStringList damagedNames()
    {
        return {QStringLiteral("Birthday cut off.mp4"), QStringLiteral("Concert cut off.mkv"),
                QStringLiteral("Garden without index.avi"), QStringLiteral("Harbour cut off.flv"),
                QStringLiteral("Wedding never closed.mp4")};
    }

    static QStringList damagedPaths()
    {
        QStringList paths;
        const QStringList names = damagedNames();
        for (const QString &name : names)
            paths.append(demo(name));
        return paths;
    }

    static QPushButton *buttonOf(const MainWindow &window, const QString &text)
    {
        const auto buttons = window.findChildren<QPushButton *>();
        for (QPushButton *button : buttons) {
            if (button->text() == text && button->isVisible())
                return button;
        }
        return nullptr;
    }

    static void press(const MainWindow &window, const QString &text)
    {
        QPushButton *button = buttonOf(window, text);
        QVERIFY2(button != nullptr && button->isEnabled(), qPrintable(text));
        QTest::mouseClick(button, Qt::LeftButton);
    }

    static void drop(MainWindow &window, const QStringList &paths)
    {
        QList<QUrl> urls;
        for (const QString &path : paths)
            urls.append(QUrl::fromLocalFile(path));
        QMimeData data;
        data.setUrls(urls);
        auto *panel = window.findChild<QWidget *>(QStringLiteral("UploadPanel"));
        QDragEnterEvent enter(panel->rect().center(), Qt::CopyAction, &data, Qt::LeftButton,
                              Qt::NoModifier);
        QCoreApplication::sendEvent(panel, &enter);
        QDropEvent event(panel->rect().center(), Qt::CopyAction, &data, Qt::LeftButton,
                         Qt::NoModifier);
        QCoreApplication::sendEvent(panel, &event);
        QVERIFY(event.isAccepted());
    }

    static QString decodeErrors(const QString &path)
    {
        return QString::fromUtf8(Footage::decodeErrors(path));
    }

    QList<QUrl> openedUrls;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(
            QFile::link(QStringLiteral(VELLUMIX_SERVICE_ROOT),
                        QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService")));
        QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "takeUrl");
    }

    void severalFilesFromTheDialogToTheFolder()
    {
        MainWindow window;
        window.show();
        WindowProbe probe(window);
        Modals modals;
        modals.expectFileDialog(QStringLiteral("Select Videos to Repair"), damagedPaths());
        press(window, QStringLiteral("+ Add"));
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(probe.page(), 1);
        QCOMPARE(probe.damagedFiles(), damagedPaths());
        QTRY_VERIFY_WITH_TIMEOUT(!probe.metadataLoading() && probe.pendingThumbs().isEmpty(),
                                 longMs);
        // All but the one without its parameters have a picture.
        QCOMPARE(probe.sourceThumbs().size(), 4);
        QVERIFY(probe.damagedMetadataText().contains(QStringLiteral("    960x540    No audio")));

        press(window, QStringLiteral("Repair"));
        QCOMPARE(probe.page(), 2);
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning() && probe.pendingThumbs().isEmpty(), longMs);
        const QString done = QStringLiteral("Repair succeeded, 1 output file(s)");
        QCOMPARE(probe.run().itemStatuses,
                 (QStringList{done, done, done, done,
                              QStringLiteral("Quick repair failed. Try Advanced Repair with a "
                                             "sample video.")}));
        QCOMPARE(probe.summaryLabel()->text(), QStringLiteral("All Videos       4/5"));
        QCOMPARE(probe.resultThumbs().size(), 4);

        const QTemporaryDir target;
        modals.expectFileDialog(QStringLiteral("Select Save Folder"), {target.path()});
        modals.expectInformation(QStringLiteral("Save Complete"),
                                 QStringLiteral("Saved 4 file(s) to:\n") + target.path());
        press(window, QStringLiteral("Save All (4)"));
        QCOMPARE(modals.problems(), QStringList());
        const QStringList saved = entriesOf(target.path());
        QCOMPARE(saved, (QStringList{QStringLiteral("Birthday cut off_1_repaired.mp4"),
                                     QStringLiteral("Concert cut off_2_repaired.mkv"),
                                     QStringLiteral("Garden without index_3_repaired.avi"),
                                     QStringLiteral("Harbour cut off_4_repaired.flv")}));
        for (int i = 0; i < 4; ++i) {
            const QString copy = target.filePath(saved[i]);
            QCOMPARE(readFile(copy), readFile(probe.run().outputFiles[i]));
            QCOMPARE(decodeErrors(copy), QString());
        }
        QCOMPARE(openedUrls, QList<QUrl>{QUrl::fromLocalFile(target.path())});
    }

    void oneFileDroppedRepairedAndSaved()
    {
        openedUrls.clear();
        const QTemporaryDir folder;
        const QString damaged = folder.filePath(QStringLiteral("my %1 film.mp4"));
        QVERIFY(QFile::copy(demo(QStringLiteral("Birthday cut off.mp4")), damaged));
        const QByteArray before = readFile(damaged);
        MainWindow window;
        window.show();
        WindowProbe probe(window);
        Modals modals;
        drop(window, {damaged});
        QCOMPARE(probe.page(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(!probe.metadataLoading(), longMs);
        press(window, QStringLiteral("Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning(), longMs);

        const QString target = folder.filePath(QStringLiteral("my %1 film_repaired.mp4"));
        modals.expectFileDialog(QStringLiteral("Save Repaired Video"), {target});
        modals.expectInformation(QStringLiteral("Save Complete"),
                                 QStringLiteral("Saved to:\n") + target);
        press(window, QStringLiteral("Save (1)"));
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(readFile(target), readFile(probe.run().outputFiles.value(0)));
        QCOMPARE(decodeErrors(target), QString());
        QCOMPARE(readFile(damaged), before);
        QCOMPARE(openedUrls, QList<QUrl>{QUrl::fromLocalFile(folder.path())});

        press(window, QStringLiteral("Remove All"));
        QCOMPARE(probe.page(), 0);
        QVERIFY(probe.damagedFiles().isEmpty());
    }

    void oddNamesGoThroughUnharmed()
    {
        const QTemporaryDir folder;
        // Longer than 260 characters, and full of what means something elsewhere.
        QString deep = folder.path();
        while (deep.size() < 300)
            deep += QStringLiteral("/über %2 \"quoted\" 'folder' 映画");
        QVERIFY(QDir().mkpath(deep));
        const QStringList names = {QStringLiteral("%1 <b>свадьба & \"50%\" 'x'"),
                                   QStringLiteral("two\nlines  and  blanks")};
        QStringList damaged;
        for (const QString &name : names) {
            damaged.append(deep + QLatin1Char('/') + name + QStringLiteral(".avi"));
            QVERIFY(QFile::copy(demo(QStringLiteral("Garden without index.avi")), damaged.last()));
        }
        MainWindow window;
        window.show();
        WindowProbe probe(window);
        Modals modals;
        drop(window, damaged);
        QCOMPARE(probe.damagedFiles(), damaged);
        QTRY_VERIFY_WITH_TIMEOUT(!probe.metadataLoading() && probe.pendingThumbs().isEmpty(),
                                 longMs);
        QCOMPARE(probe.sourceThumbs().size(), 2);
        QVERIFY(!probe.damagedMetadataText().isEmpty());
        press(window, QStringLiteral("Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning() && probe.pendingThumbs().isEmpty(), longMs);
        QCOMPARE(probe.run().itemSucceeded, (QList<bool>{true, true}));
        QCOMPARE(probe.resultThumbs().size(), 2);

        // Without quotes: the file dialog takes typed ones for its own.
        const QString target = folder.filePath(QStringLiteral("saved %1 映画"));
        QVERIFY(QDir().mkpath(target));
        modals.expectFileDialog(QStringLiteral("Select Save Folder"), {target});
        modals.expectInformation(QStringLiteral("Save Complete"),
                                 QStringLiteral("Saved 2 file(s) to:\n") + target);
        press(window, QStringLiteral("Save All (2)"));
        QCOMPARE(modals.problems(), QStringList());
        for (int i = 0; i < 2; ++i) {
            const QString saved =
                target +
                QStringLiteral("/%1_%2_repaired.avi").arg(names[i], QString::number(i + 1));
            QCOMPARE(readFile(saved), readFile(probe.run().outputFiles[i]));
            QCOMPARE(decodeErrors(saved), QString());
        }
    }

    void cleanupTestCase()
    {
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        QVERIFY(Workers::awaitAll(std::chrono::seconds(30)));
    }
};

VELLUMIX_WINDOW_TEST_MAIN(JourneyTest)

#include "tst_journey.moc"
