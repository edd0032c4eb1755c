// Time from the start of the client to its first painted frame, against a bare window of Qt's of
// the same size: ./dev bench start. A third window, with a word in it, tells how much of that is
// what any first text costs: finding and loading a font. Needs an X display whose root shows
// nothing and no window manager.
//
// With the argument "--bare" or "--word" it is one of these windows.

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QProcess>
#include <QWidget>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr int rounds = 25;
constexpr int warmUpRounds = 2;
constexpr int startTimeoutMs = 30000;
constexpr std::chrono::microseconds pollInterval{500};

/** A point of the screen that a window in its corner covers, where windows without a manager are.
 */
class ScreenPoint
{
public:
    ScreenPoint() : connection(xcb_connect(nullptr, nullptr))
    {
        if (xcb_connection_has_error(connection) != 0) {
            std::fputs("there is no display\n", stderr);
            std::_Exit(1);
        }
        root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    }
    ~ScreenPoint() { xcb_disconnect(connection); }
    ScreenPoint(const ScreenPoint &) = delete;
    ScreenPoint &operator=(const ScreenPoint &) = delete;

    /** The colour that it shows now, as the server stores it. */
    std::uint32_t colour() const
    {
        const std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> image(
            xcb_get_image_reply(
                connection,
                xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root, x, y, 1, 1, ~0U),
                nullptr),
            &std::free);
        std::uint32_t pixel = 0;
        if (image)
            std::memcpy(&pixel, xcb_get_image_data(image.get()), sizeof pixel);
        return pixel & 0xffffffU;
    }

private:
    xcb_connection_t *connection;
    xcb_window_t root = 0;
    static constexpr std::int16_t x = 300;
    static constexpr std::int16_t y = 200;
};

/** Waits until the point shows another colour, or the same one again. */
bool waitWhile(const ScreenPoint &point, std::uint32_t background, bool shown)
{
    QElapsedTimer timer;
    timer.start();
    while ((point.colour() != background) == shown) {
        if (timer.hasExpired(startTimeoutMs))
            return false;
        std::this_thread::sleep_for(pollInterval);
    }
    return true;
}

/** Milliseconds from a program's start to its first painted frame. */
double timeToFrame(const ScreenPoint &point, const QString &program, const QStringList &arguments)
{
    const std::uint32_t background = point.colour();
    QProcess process;
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    if (!waitWhile(point, background, false)) {
        std::fprintf(stderr, "%s has shown nothing\n", qPrintable(program));
        std::_Exit(1);
    }
    const double milliseconds = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    process.kill();
    process.waitForFinished();
    waitWhile(point, background, true);
    return milliseconds;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

int showBareWindow(int argc, char *argv[], const QString &text)
{
    const QApplication application(argc, argv);
    QLabel window(text);
    window.resize(1120, 720);
    window.show();
    return QApplication::exec();
}

int measure(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const ScreenPoint point;
    const QString self = QCoreApplication::applicationFilePath();
    const struct
    {
        const char *name;
        QString program;
        QStringList arguments;
    } contenders[] = {{"client", QStringLiteral(VELLUMIX_CLIENT), {}},
                      {"bare window", self, {QStringLiteral("--bare")}},
                      {"window with a word", self, {QStringLiteral("--word")}}};
    std::vector<double> times[std::size(contenders)];
    // In turn, so that a change of the machine's load meets all.
    for (int i = 0; i < rounds + warmUpRounds; ++i) {
        for (std::size_t k = 0; k < std::size(contenders); ++k) {
            const double time = timeToFrame(point, contenders[k].program, contenders[k].arguments);
            if (i >= warmUpRounds)
                times[k].push_back(time);
        }
    }
    std::printf("start to first painted frame, medians of %d, and the client's as a multiple\n",
                rounds);
    for (std::size_t k = 0; k < std::size(contenders); ++k)
        std::printf("  %-20s %7.1f ms  %5.2f\n", contenders[k].name, median(times[k]),
                    median(times[0]) / median(times[k]));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc > 1 && std::strcmp(argv[1], "--bare") == 0)
        return showBareWindow(argc, argv, {});
    if (argc > 1 && std::strcmp(argv[1], "--word") == 0)
        return showBareWindow(argc, argv, QStringLiteral("Vellumix"));
    return measure(argc, argv);
}
