// Time from the start of the client to its first painted frame, against a bare window of Qt's of
// the same size: ./dev bench start. Needs an X display whose root shows nothing.
//
// With the argument "--bare" it is that bare window.

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
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

/** A point of the screen that every window in its middle or its corner covers. */
class ScreenPoint
{
public:
    ScreenPoint() : connection(xcb_connect(nullptr, nullptr))
    {
        if (xcb_connection_has_error(connection) != 0) {
            std::fputs("there is no display\n", stderr);
            std::_Exit(1);
        }
        const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
        root = screen->root;
        x = static_cast<std::int16_t>(screen->width_in_pixels / 2);
        y = static_cast<std::int16_t>(screen->height_in_pixels / 2);
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
    std::int16_t x = 0;
    std::int16_t y = 0;
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

int showBareWindow(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    QWidget window;
    window.resize(1120, 720);
    window.show();
    return QApplication::exec();
}

int measure(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const ScreenPoint point;
    const QString self = QCoreApplication::applicationFilePath();
    const QString client = QStringLiteral(VELLUMIX_CLIENT);
    std::vector<double> clientTimes;
    std::vector<double> bareTimes;
    // In turn, so that a change of the machine's load meets both.
    for (int i = 0; i < rounds + warmUpRounds; ++i) {
        const double clientTime = timeToFrame(point, client, {});
        const double bareTime = timeToFrame(point, self, {QStringLiteral("--bare")});
        if (i >= warmUpRounds) {
            clientTimes.push_back(clientTime);
            bareTimes.push_back(bareTime);
        }
    }
    std::printf("start to first painted frame, medians of %d\n", rounds);
    std::printf("  client       %7.1f ms\n", median(clientTimes));
    std::printf("  bare window  %7.1f ms\n", median(bareTimes));
    std::printf("  ratio        %7.2f\n", median(clientTimes) / median(bareTimes));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const bool isBare = argc > 1 && std::strcmp(argv[1], "--bare") == 0;
    return isBare ? showBareWindow(argc, argv) : measure(argc, argv);
}
