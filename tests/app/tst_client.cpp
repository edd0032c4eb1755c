#include "app/ClientMain.h"
#include "tests/support/TestCase.h"
#include "ui/MainWindow.h"

#include <QApplication>
#include <QIcon>

/** The client's own main function, looked at from inside once its window is shown. */
class ClientTest : public TestCase
{
    Q_OBJECT

public:
    explicit ClientTest(MainWindow &mainWindow) : window(mainWindow) {}

private Q_SLOTS:
    void hasItsNames()
    {
        QCOMPARE(QApplication::applicationName(), QStringLiteral("Vellumix"));
        QCOMPARE(QApplication::organizationName(), QStringLiteral("Vellumix"));
    }

    void opensAtItsLeastSize()
    {
        QVERIFY(window.isVisible());
        QVERIFY(window.isWindow());
        QCOMPARE(window.size(), QSize(1120, 720));
        QCOMPARE(window.parent(), nullptr);
    }

    void bearsTheIconBesideIt()
    {
        QList<QSize> expected;
        for (const int side : {16, 20, 24, 32, 40, 48, 64, 128, 256})
            expected.append(QSize(side, side));
        QCOMPARE(QApplication::windowIcon().availableSizes(), expected);
        const QImage icon = QApplication::windowIcon().pixmap(256, 256).toImage();
        // A blue ground with transparent corners.
        QCOMPARE(qAlpha(icon.pixel(1, 1)), 0);
        QVERIFY(icon.pixelColor(30, 128).blue() > icon.pixelColor(30, 128).red() + 100);
    }

private:
    MainWindow &window;
};

int main(int argc, char *argv[])
{
    const Testing::OwnFolder ownFolder(argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QTEST_FUNCTION_TIMEOUT", "60000");
    const QString icon = QStringLiteral("/app_icon.ico");
    QFile::copy(QStringLiteral(VELLUMIX_BIN) + icon, ownFolder.path() + icon);
    return clientMain(argc, argv, [argc, argv](MainWindow &window) {
        ClientTest test(window);
        const int result = QTest::qExec(&test, argc, argv);
        QMetaObject::invokeMethod(
            &window, [result] { QCoreApplication::exit(result); }, Qt::QueuedConnection);
    });
}

#include "tst_client.moc"
