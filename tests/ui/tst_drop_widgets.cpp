#include "tests/support/TestCase.h"
#include "ui/ClickableFrame.h"
#include "ui/DropLineEdit.h"
#include "ui/DropPanel.h"

#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>

namespace {

QList<QUrl> urls(const QStringList &texts)
{
    QList<QUrl> list;
    for (const QString &text : texts)
        list.append(QUrl(text));
    return list;
}

const QString webLink = QStringLiteral("https://example.org/clip.mp4");
const QString firstFile = QStringLiteral("file:///films/one%20two.mp4");
const QString firstPath = QStringLiteral("/films/one two.mp4");
const QString secondFile = QStringLiteral("file:///films/other.txt");
const QString secondPath = QStringLiteral("/films/other.txt");

/** Straight to the widget: the application would look for the drag's source, and there is none. */
void give(QObject &widget, QEvent &event)
{
    widget.event(&event);
}

/** What is dragged over a widget and dropped on it. */
class Drag
{
public:
    explicit Drag(const QStringList &links)
    {
        if (!links.isEmpty())
            data.setUrls(urls(links));
    }

    QMimeData data;

    /** Whether the widget takes it, by the action that was proposed. */
    bool enter(QWidget &widget) const
    {
        QDragEnterEvent event(QPoint(5, 5), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton,
                              Qt::NoModifier);
        event.setDropAction(Qt::LinkAction);
        event.ignore();
        give(widget, event);
        return event.isAccepted() && event.dropAction() == event.proposedAction();
    }

    bool drop(QWidget &widget) const
    {
        QDropEvent event(QPointF(5, 5), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton,
                         Qt::NoModifier);
        event.setDropAction(Qt::LinkAction);
        event.ignore();
        give(widget, event);
        return event.isAccepted() && event.dropAction() == event.proposedAction();
    }
};

/** A widget's events that get through to the widget below it. */
class Below : public QWidget
{
public:
    int presses = 0;
    int doubleClicks = 0;

protected:
    void mousePressEvent(QMouseEvent * /*event*/) override { ++presses; }
    void mouseDoubleClickEvent(QMouseEvent * /*event*/) override { ++doubleClicks; }
};

} // namespace

/** Drops and clicks as callbacks. */
class DropWidgetsTest : public TestCase
{
    Q_OBJECT

private:
    /** All calls of a panel's or an edit's callbacks. */
    struct Calls
    {
        QStringList single;
        QList<QStringList> many;

        auto one()
        {
            return [this](const QString &path) { single.append(path); };
        }
        auto all()
        {
            return [this](const QStringList &paths) { many.append(paths); };
        }
    };

    static void sendMouse(QWidget &widget, QEvent::Type type, Qt::MouseButton button)
    {
        const QPointF point(5, 5);
        QMouseEvent event(type, point, widget.mapToGlobal(point), button, button, Qt::NoModifier);
        QCoreApplication::sendEvent(&widget, &event);
    }

    static QMimeData *textData(QMimeData &data)
    {
        data.setText(QStringLiteral("plain text"));
        return &data;
    }

private Q_SLOTS:
    void aMoveIsTakenAsACopy()
    {
        // With shift held, a file manager proposes to move, and deletes what was moved.
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(QStringLiteral("/films/the only copy.mp4"))});
        DropPanel panel;
        QStringList dropped;
        panel.onFilesDropped = [&dropped](const QStringList &paths) { dropped = paths; };
        DropLineEdit edit;
        for (QWidget *widget : {static_cast<QWidget *>(&panel), static_cast<QWidget *>(&edit)}) {
            const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction;
            QDragEnterEvent enter(QPoint(5, 5), actions, &data, Qt::LeftButton, Qt::ShiftModifier);
            QCOMPARE(enter.proposedAction(), Qt::MoveAction);
            QCoreApplication::sendEvent(widget, &enter);
            QVERIFY(enter.isAccepted());
            QCOMPARE(enter.dropAction(), Qt::CopyAction);
            QDropEvent drop(QPointF(5, 5), actions, &data, Qt::LeftButton, Qt::ShiftModifier);
            QCOMPARE(drop.proposedAction(), Qt::MoveAction);
            QCoreApplication::sendEvent(widget, &drop);
            QVERIFY(drop.isAccepted());
            QCOMPARE(drop.dropAction(), Qt::CopyAction);
        }
        QCOMPARE(dropped, QStringList{QStringLiteral("/films/the only copy.mp4")});
    }

    void panelTakesDropsUnderItsName()
    {
        QWidget parent;
        const DropPanel panel(&parent);
        QCOMPARE(panel.parentWidget(), &parent);
        QVERIFY(panel.acceptDrops());
        QCOMPARE(panel.objectName(), QStringLiteral("UploadPanel"));
        QVERIFY(!panel.onFileDropped);
        QVERIFY(!panel.onFilesDropped);
        const DropPanel alone;
        QCOMPARE(alone.parentWidget(), nullptr);
    }

    void panelLetsLinksIn()
    {
        DropPanel panel;
        QVERIFY(Drag({firstFile}).enter(panel));
        QVERIFY(Drag({webLink}).enter(panel));
        QVERIFY(Drag({webLink, firstFile, secondFile}).enter(panel));
    }

    void panelLetsNothingElseIn()
    {
        DropPanel panel;
        Drag text({});
        textData(text.data);
        QVERIFY(!text.enter(panel));
        QVERIFY(!Drag({}).enter(panel));
    }

    void panelPassesLocalPaths_data()
    {
        QTest::addColumn<QStringList>("links");
        QTest::addColumn<QStringList>("paths");
        const QStringList both{firstPath, secondPath};
        QTest::newRow("file") << QStringList{firstFile} << QStringList{firstPath};
        QTest::newRow("files") << QStringList{firstFile, secondFile} << both;
        QTest::newRow("other order")
            << QStringList{secondFile, firstFile} << QStringList{secondPath, firstPath};
        QTest::newRow("mixed") << QStringList{webLink, firstFile, webLink, secondFile, webLink}
                               << both;
        QTest::newRow("twice") << QStringList{firstFile, firstFile}
                               << QStringList{firstPath, firstPath};
        const QString folder = QDir::tempPath();
        QTest::newRow("folder") << QStringList{QUrl::fromLocalFile(folder).toString()}
                                << QStringList{folder};
        QTest::newRow("any kind, not there") << QStringList{QStringLiteral("file:///no/where.xyz")}
                                             << QStringList{QStringLiteral("/no/where.xyz")};
    }

    void panelPassesLocalPaths()
    {
        QFETCH(const QStringList, links);
        QFETCH(const QStringList, paths);
        Calls calls;
        DropPanel panel;
        panel.onFilesDropped = calls.all();
        QVERIFY(Drag(links).drop(panel));
        QCOMPARE(calls.many, QList<QStringList>{paths});
    }

    void panelPassesTheFirstPathToTheSingleCallback()
    {
        Calls calls;
        DropPanel panel;
        panel.onFileDropped = calls.one();
        QVERIFY(Drag({webLink, secondFile, firstFile}).drop(panel));
        QCOMPARE(calls.single, QStringList{secondPath});
    }

    void panelPrefersTheCallbackForAll()
    {
        Calls calls;
        DropPanel panel;
        panel.onFileDropped = calls.one();
        panel.onFilesDropped = calls.all();
        QVERIFY(Drag({firstFile, secondFile}).drop(panel));
        QCOMPARE(calls.many, (QList<QStringList>{{firstPath, secondPath}}));
        QCOMPARE(calls.single, QStringList());
    }

    void panelLeavesWhatIsNoLocalFile()
    {
        Calls calls;
        DropPanel panel;
        panel.onFileDropped = calls.one();
        panel.onFilesDropped = calls.all();
        Drag text({});
        textData(text.data);
        QVERIFY(!text.drop(panel));
        QVERIFY(!Drag({}).drop(panel));
        QVERIFY(!Drag({webLink}).drop(panel));
        QVERIFY(!Drag({webLink, webLink}).drop(panel));
        QCOMPARE(calls.single, QStringList());
        QCOMPARE(calls.many, QList<QStringList>());
    }

    void panelWithoutCallbacksTakesNothing()
    {
        DropPanel panel;
        QVERIFY(!Drag({firstFile}).drop(panel));
    }

    void panelLooksTheSameWhileDraggedOver()
    {
        DropPanel panel;
        panel.resize(200, 100);
        panel.setStyleSheet(QStringLiteral("QFrame#UploadPanel { border: 2px dashed #2d7dff; }"));
        const QImage before = panel.grab().toImage();
        QVERIFY(Drag({firstFile}).enter(panel));
        QCOMPARE(panel.grab().toImage(), before);
    }

    void editStartsWithItsText()
    {
        QWidget parent;
        const DropLineEdit edit(QStringLiteral("text"), &parent);
        QCOMPARE(edit.text(), QStringLiteral("text"));
        QCOMPARE(edit.parentWidget(), &parent);
        QVERIFY(edit.acceptDrops());
        QVERIFY(!edit.onFileDropped);
    }

    void editLetsLinksAndTextIn()
    {
        DropLineEdit edit{QString()};
        QVERIFY(Drag({firstFile}).enter(edit));
        QVERIFY(Drag({webLink}).enter(edit));
        QMimeData data;
        QDragEnterEvent event(QPoint(5, 5), Qt::CopyAction, textData(data), Qt::LeftButton,
                              Qt::NoModifier);
        event.ignore();
        give(edit, event);
        QVERIFY(event.isAccepted());
        QMimeData nothing;
        QDragEnterEvent empty(QPoint(5, 5), Qt::CopyAction, &nothing, Qt::LeftButton,
                              Qt::NoModifier);
        empty.ignore();
        give(edit, empty);
        QVERIFY(!empty.isAccepted());
    }

    void editShowsTheDroppedPath_data()
    {
        QTest::addColumn<QStringList>("links");
        QTest::addColumn<QString>("path");
        QTest::newRow("file") << QStringList{firstFile} << firstPath;
        QTest::newRow("first of several") << QStringList{secondFile, firstFile} << secondPath;
        QTest::newRow("folder") << QStringList{QUrl::fromLocalFile(QDir::tempPath()).toString()}
                                << QDir::tempPath();
        QTest::newRow("link") << QStringList{webLink} << QString();
        QTest::newRow("link before a file") << QStringList{webLink, firstFile} << QString();
    }

    void editShowsTheDroppedPath()
    {
        QFETCH(const QStringList, links);
        QFETCH(const QString, path);
        Calls calls;
        DropLineEdit edit(QStringLiteral("before"));
        QString shownInCall = QStringLiteral("not called");
        edit.onFileDropped = [&](const QString &dropped) {
            calls.single.append(dropped);
            shownInCall = edit.text();
        };
        QVERIFY(Drag(links).drop(edit));
        QCOMPARE(edit.text(), QDir::toNativeSeparators(path));
        QCOMPARE(calls.single, QStringList{path});
        // The text comes first, so that a receiver may change it.
        QCOMPARE(shownInCall, QDir::toNativeSeparators(path));
    }

    void editWithoutCallbackShowsThePath()
    {
        DropLineEdit edit(QStringLiteral("before"));
        QVERIFY(Drag({firstFile}).drop(edit));
        QCOMPARE(edit.text(), QDir::toNativeSeparators(firstPath));
    }

    void editTakesTextAsAnyLineEdit()
    {
        Calls calls;
        DropLineEdit edit{QString()};
        edit.onFileDropped = calls.one();
        edit.resize(200, 30);
        QMimeData data;
        QDropEvent event(QPointF(5, 5), Qt::CopyAction, textData(data), Qt::LeftButton,
                         Qt::NoModifier);
        give(edit, event);
        QCOMPARE(edit.text(), QStringLiteral("plain text"));
        QCOMPARE(calls.single, QStringList());
    }

    void frameHasThePointingHand()
    {
        QWidget parent;
        const ClickableFrame frame(&parent);
        QCOMPARE(frame.parentWidget(), &parent);
        QCOMPARE(frame.cursor().shape(), Qt::PointingHandCursor);
        QVERIFY(!frame.onClicked);
        QVERIFY(!frame.onDoubleClicked);
    }

    void frameTellsOfTheLeftButton_data()
    {
        QTest::addColumn<Qt::MouseButton>("button");
        QTest::addColumn<int>("count");
        QTest::newRow("left") << Qt::LeftButton << 1;
        QTest::newRow("right") << Qt::RightButton << 0;
        QTest::newRow("middle") << Qt::MiddleButton << 0;
    }

    void frameTellsOfTheLeftButton()
    {
        QFETCH(const Qt::MouseButton, button);
        QFETCH(const int, count);
        int clicks = 0;
        int doubleClicks = 0;
        ClickableFrame frame;
        frame.onClicked = [&] { ++clicks; };
        frame.onDoubleClicked = [&] { ++doubleClicks; };
        sendMouse(frame, QEvent::MouseButtonPress, button);
        QCOMPARE(clicks, count);
        QCOMPARE(doubleClicks, 0);
        sendMouse(frame, QEvent::MouseButtonRelease, button);
        QCOMPARE(clicks, count);
        sendMouse(frame, QEvent::MouseButtonDblClick, button);
        sendMouse(frame, QEvent::MouseButtonRelease, button);
        QCOMPARE(doubleClicks, count);
    }

    void aDoubleClickTellsItsFirstPress()
    {
        QStringList calls;
        ClickableFrame frame;
        frame.onClicked = [&] { calls.append(QStringLiteral("click")); };
        frame.onDoubleClicked = [&] { calls.append(QStringLiteral("double")); };
        // As the system sends them.
        sendMouse(frame, QEvent::MouseButtonPress, Qt::LeftButton);
        sendMouse(frame, QEvent::MouseButtonRelease, Qt::LeftButton);
        QCOMPARE(calls, QStringList{QStringLiteral("click")});
        sendMouse(frame, QEvent::MouseButtonDblClick, Qt::LeftButton);
        sendMouse(frame, QEvent::MouseButtonRelease, Qt::LeftButton);
        // Qt's own handling of a double click, which comes last, takes it for one more press.
        QCOMPARE(calls, (QStringList{QStringLiteral("click"), QStringLiteral("double"),
                                     QStringLiteral("click")}));
    }

    void frameWithoutCallbacksIsAnyFrame()
    {
        Below below;
        auto *frame = new ClickableFrame(&below);
        frame->resize(50, 50);
        sendMouse(*frame, QEvent::MouseButtonPress, Qt::LeftButton);
        sendMouse(*frame, QEvent::MouseButtonDblClick, Qt::LeftButton);
        QCOMPARE(below.presses, 1);
        QCOMPARE(below.doubleClicks, 1);
    }

    void clicksGoOnToWhatLiesBelow()
    {
        Below below;
        int clicks = 0;
        int doubleClicks = 0;
        auto *frame = new ClickableFrame(&below);
        frame->onClicked = [&] { ++clicks; };
        frame->onDoubleClicked = [&] { ++doubleClicks; };
        frame->resize(50, 50);
        sendMouse(*frame, QEvent::MouseButtonPress, Qt::LeftButton);
        QCOMPARE(clicks, 1);
        QCOMPARE(below.presses, 1);
        sendMouse(*frame, QEvent::MouseButtonDblClick, Qt::LeftButton);
        QCOMPARE(doubleClicks, 1);
        QCOMPARE(below.doubleClicks, 1);
    }
};

VELLUMIX_WINDOW_TEST_MAIN(DropWidgetsTest)

#include "tst_drop_widgets.moc"
