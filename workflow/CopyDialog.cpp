#include "workflow/CopyDialog.h"

#include "app/TextPattern.h"
#include "app/Workers.h"
#include "metadata/MetadataText.h"
#include "ui/Buttons.h"

#include <QCloseEvent>
#include <QEventLoop>
#include <QFileInfo>
#include <QFontMetrics>
#include <QLabel>
#include <QProgressDialog>
#include <QPushButton>
#include <QTimer>

#include <memory>

namespace {

constexpr int quietMs = 500;
constexpr int updateMs = 50;
constexpr int barSteps = 1000;
constexpr int textWidth = 380;

/** Shared by the wait and the worker's way back, either of which may end first. */
struct Wait
{
    CopyProgress progress;
    bool isDone = false;
    /** Told when the copies are done; null while nobody waits. */
    std::function<void()> onDone;
};

void startCopies(Workers &workers, const QList<FileCopy> &copies, const std::shared_ptr<Wait> &wait)
{
    workers.start([copies, wait](const Workers::WayBack &wayBack) {
        copyFiles(copies, wait->progress);
        wayBack.post([wait] {
            wait->isDone = true;
            if (wait->onDone)
                wait->onDone();
        });
    });
}

/** Waits with the window painted but deaf, until it is done or the time is over. */
void waitQuietly(Wait &wait, int limitMs)
{
    QEventLoop loop;
    wait.onDone = [&loop] { loop.quit(); };
    QTimer::singleShot(limitMs, &loop, &QEventLoop::quit);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    wait.onDone = nullptr;
}

class CopyDialog : public QProgressDialog
{
public:
    explicit CopyDialog(QWidget *parent) : QProgressDialog(parent), text(new QLabel)
    {
        setWindowTitle(QStringLiteral("Saving"));
        setObjectName(QStringLiteral("CopyDialog"));
        setModal(true);
        setRange(0, barSteps);
        // It is shown and closed by us, not by its own idea of the time that it takes.
        setMinimumDuration(0);
        setAutoReset(false);
        setAutoClose(false);
        text->setTextFormat(Qt::PlainText);
        text->setFixedWidth(textWidth);
        setLabel(text);
        cancelButton = makeObjectButton(QStringLiteral("Cancel"), QStringLiteral("OutlineButton"));
        setCancelButton(cancelButton);
        // It stays until the copies have ended: a copy that was whole when the cancel came still
        // takes its place, which a slow card makes last.
        disconnect(this, SIGNAL(canceled()), this, SLOT(cancel()));
        connect(this, &QProgressDialog::canceled, this, [this] {
            isCancelling = true;
            cancelButton->setEnabled(false);
            text->setText(QStringLiteral("Cancelling..."));
        });
    }

    void show(const CopyProgress::State &state)
    {
        if (isCancelling)
            return;
        const QString name =
            QFontMetrics(text->font())
                .elidedText(QFileInfo(state.target).fileName(), Qt::ElideMiddle, textWidth);
        text->setText(TextPattern::fill(QStringLiteral("Copying %1\n%2 of %3"), name,
                                        sizeText(state.done), sizeText(state.total)));
        const qint64 total = qMax(state.total, qint64{1});
        setValue(static_cast<int>(barSteps *
                                  (static_cast<double>(state.done) / static_cast<double>(total))));
    }

protected:
    void closeEvent(QCloseEvent *event) override
    {
        // When the program ends, it goes with its window.
        event->setAccepted(!parentWidget()->isVisible());
        reject();
    }

public:
    /** The ways to close a dialog are ways to cancel. */
    void reject() override
    {
        if (!isCancelling)
            Q_EMIT canceled();
    }

private:
    QLabel *text;
    QPushButton *cancelButton = nullptr;
    bool isCancelling = false;
};

/** Waits with the dialog on the screen, until it is done or cancelled. */
void waitWithDialog(QWidget *parent, Wait &wait)
{
    CopyDialog dialog(parent);
    dialog.show(wait.progress.state());
    // Showing it lets events in, the last among them.
    if (wait.isDone)
        return;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &dialog,
                     [&] { dialog.show(wait.progress.state()); });
    timer.start(updateMs);
    QObject::connect(&dialog, &QProgressDialog::canceled, &dialog,
                     [&wait] { wait.progress.cancel(); });
    wait.onDone = [&dialog] { dialog.accept(); };
    dialog.exec();
    wait.onDone = nullptr;
}

} // namespace

CopyOutcome copyWithProgress(QWidget *parent, Workers &workers, const QList<FileCopy> &copies)
{
    const auto wait = std::make_shared<Wait>();
    startCopies(workers, copies, wait);
    waitQuietly(*wait, quietMs);
    if (!wait->isDone)
        waitWithDialog(parent, *wait);
    // The program is being closed.
    if (!wait->isDone)
        wait->progress.cancel();
    return {.copied = wait->progress.state().copied, .isCancelled = wait->progress.isCancelled()};
}
