#pragma once

#include "app/Workers.h"
#include "service/RepairRequest.h"
#include "service/RepairResponse.h"
#include "ui/ImportRow.h"
#include "ui/ResultRow.h"
#include "ui/RunState.h"

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QMainWindow>
#include <QQueue>
#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>

class QCheckBox;
class QLabel;
class QPushButton;
class QStackedWidget;
class RowColumn;
class ServiceGate;
struct FrameControls;
struct ItemResult;

/**
 * The application's only top-level window: the frame and the three pages, and all state of the
 * work from import to saved results. Lives on the interface thread and never blocks it for long:
 * whatever asks the repair service does so on a worker and comes back with the answer.
 *
 * Frame and pages are built in `ui/`; the functions of every other concern are in the file of
 * `workflow/` that is named with it.
 */
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);

    /** Starts no service any more; answers that are still to come are dropped. */
    ~MainWindow() override;

protected:
    /** Ends the services and closes; never refused. */
    void closeEvent(QCloseEvent *event) override;

private:
    /** The door for tests to the state and the functions below. */
    friend class WindowProbe;

    /** Indexes of the page stack. */
    enum Page { ImportPage = 0, FileListPage = 1, ResultPage = 2 };

    // --- Frame: ui/MainWindow.cpp ---

    QWidget *createTitleBar(FrameControls &controls);
    QWidget *createSidePanel(FrameControls &controls);
    void createMenu(FrameControls &controls);
    QStackedWidget *createPages();
    void connectFrame(const FrameControls &controls);
    void toggleMaximized(QPushButton *maximizeButton);

    QStackedWidget *pages = nullptr;

    // --- Pages: ui/ImportPage.cpp, ui/FileListPage.cpp, ui/ResultPage.cpp ---

    QWidget *createImportPage();
    QWidget *createFileListPage();
    QWidget *createFileListFooter();
    QWidget *createResultPage();
    QWidget *createResultFooter();

    QLabel *listHeaderLabel = nullptr;
    RowColumn *importRows = nullptr;
    QLabel *progressLabel = nullptr;
    QCheckBox *advancedModeCheck = nullptr;
    QPushButton *repairButton = nullptr;
    QLabel *resultSummaryLabel = nullptr;
    RowColumn *resultRows = nullptr;
    QPushButton *previewButton = nullptr;
    QPushButton *saveButton = nullptr;
    QPushButton *saveAllButton = nullptr;

    // --- Import: workflow/Import.cpp ---

    /** Asks for damaged videos and takes them in. */
    void chooseDamagedFile();
    /**
     * Takes files into the list, or makes them the list when `replace`; what is no file is left
     * out, and nothing happens when nothing is left. Drops the results of earlier runs.
     */
    void addDamagedFiles(const QStringList &paths, bool replace);
    /** The files among `paths`, absolute and each once; logs what it leaves out. */
    static QStringList acceptedFiles(const QStringList &paths);
    void refreshImportSummary();
    /** Shows the rows as they now are. */
    void refreshImportRows();
    ImportRow::Content importRowContent(int index) const;
    QWidget *provideImportRow(int index, QWidget *present) const;

    /** Absolute paths with native separators, each once, in the order of their import. */
    QStringList damagedFiles;
    /** The current file: the first of damagedFiles, or empty. */
    QString damagedFilePath;

    // --- Analysis: workflow/Analysis.cpp ---

    /** Asks the service for the current file's metadata. */
    void loadDamagedMetadata();
    void takeDamagedMetadata(const QString &filePath, const RepairResponse &response);
    void showDamagedMetadata(const QJsonObject &info);
    void showMetadataLabels(const QJsonObject &info, const QString &filePath);
    void clearDamagedMetadata();
    /** Enables the actions of the file list that are possible now. */
    void updateActionButtons();

    /** Shown in the current file's row; empty when there is nothing to show. */
    QString damagedMetadataText;
    /** A request for the current file is under way. */
    bool metadataLoading = false;
    /** The last answer for the current file carried metadata. */
    bool metadataReady = false;
    /** Summaries of the current file. No page of today creates them. */
    QLabel *titleLabel = nullptr;
    QLabel *sizeLabel = nullptr;
    QLabel *frameRateLabel = nullptr;
    QLabel *resolutionLabel = nullptr;
    QLabel *fileLabel = nullptr;

    // --- Repair run: workflow/RepairRun.cpp ---

    /** Repairs all files of the list, one after another, on one worker. */
    void startRepair(bool advanced);
    void showFormatNotice();
    void startRun(const RepairRequest &request, const QStringList &queue);
    void setRepairRunning(bool running);
    void beginItem(int index);
    void finishItem(const ItemResult &result);
    void finishRun(int succeeded, int failed, bool advanced);

    RunState run;
    /** No run may begin: one is going on, or a comparison that is to begin one. */
    bool repairRunning = false;
    /** A run is going on. Nothing but the run itself ends it. */
    bool isRunUnderWay = false;

    // --- Sample and comparison: workflow/SampleComparison.cpp ---

    /** Asks for the sample; its parameters come up beside the damaged file's when they are known.
     */
    void chooseSampleAndCompare();
    void compareParameters();
    void takeComparison(const QString &damaged, const RepairResponse &ofDamaged,
                        const QString &sample, const RepairResponse &ofSample);

    /** The two files are being asked for their parameters. */
    bool isComparing = false;

    // --- Results: workflow/Results.cpp ---

    /** Shows rows and counters as they now are. */
    void refreshResultList();
    ResultRow::Content resultRowContent(int index) const;
    QWidget *provideResultRow(int index, QWidget *present);
    /** Does what a row's button is for. */
    void runRowAction(ResultRow::Action action, const QString &damagedFile);
    void beginAdvancedRepair();
    void showResultPage(int succeeded, int failed, bool advanced);
    /** Tells of a failed run; nothing does so today, since the result page tells it. */
    void showRepairFailedDialog(bool advanced);

    // --- Preview: workflow/Preview.cpp ---

    /** Shows the outputs of one damaged file or of all, as previewSourcePath says. */
    void showPreviewDialog();
    /** Plays the beginning of a repaired file, or where that cannot be cut the whole of it. */
    void playPreview(const QString &output);

    // --- Saving: workflow/Saving.cpp ---

    /** Copies the outputs to where the user wants them; returns when that is done. */
    void saveResults();
    void saveOne();
    void saveAll();
    QString sourceOfOutput(qsizetype index) const;

    // --- Start over: workflow/StartOver.cpp ---

    /** Drops all files and results, and shows the import page. A run that is going on goes on. */
    void resetToImportPage();
    /** Forgets the last run and its results. */
    void dropRun();

    // --- Data folders: workflow/Folders.cpp ---

    static QString serviceRootPath();
    static QString publicDataPath();
    static QString logFolderPath();
    /** Creates the folder of the log and has the system show it. */
    static void openLogFolder();
    /** A request with everything set that does not depend on what it is for. */
    RepairRequest makeRepairRequest() const;

    /** How long a repair may take, in seconds. */
    qint32 repairTimeoutSeconds = 900;

    // --- Thumbnails: workflow/Thumbnails.cpp ---

    /** One picture to be made. */
    struct ThumbnailJob
    {
        /** Path of the damaged video, which the thumbnail is filed under. */
        QString key;
        /** The video to take the picture from. */
        QString videoPath;
        /** The file to write. */
        QString photoPath;
        /** The video is a repaired one. */
        bool isResult = false;
        /** The job's entry in pendingThumbs. */
        QString pendingKey;
    };

    static QString thumbnailPath(const QString &key, bool isResult);
    /** Has a thumbnail made and shown, unless it is there or on its way. */
    void requestThumbnail(const QString &key, const QString &videoPath, bool isResult);
    /** Puts a job in its place: results go before sources, since they are what is looked at. */
    void enqueueThumbnail(const ThumbnailJob &job);
    /** Starts them when the list that wants them is on the screen: each is a process of its own. */
    void startThumbnailsSoon();
    void startWaitingThumbnails();
    /** Lets those go that wait for files that are not in the list any more. */
    void dropUnwantedThumbnails();
    void startThumbnail(const ThumbnailJob &job);
    void takeThumbnail(const ThumbnailJob &job, const RepairResponse &response);

    /** Thumbnail files of damaged videos, by key. Trusted only while the file exists. */
    QHash<QString, QString> sourceThumbs;
    /** The same of repaired videos. */
    QHash<QString, QString> resultThumbs;
    /** "KIND|KEY" of what is waiting or being made. */
    QSet<QString> pendingThumbs;
    /** Wait for their turn. */
    QQueue<ThumbnailJob> waitingThumbs;
    bool isThumbStartDue = false;
    /** Entries of pendingThumbs that are being made; they stay here when that set is emptied. */
    QSet<QString> runningThumbs;

    // --- Shutdown: workflow/Shutdown.cpp ---

    /** Starts no service any more, and ends every service process that the user may end. */
    void shutdownRepairServiceProcesses();

    /** Asked by every worker before it starts a service. */
    std::shared_ptr<ServiceGate> serviceGate;
    Workers workers{this};
};
