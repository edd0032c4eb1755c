#include "engine/pipe/TarnCommunication.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QFile>

#include <cstring>
#include <thread>

#ifndef Q_OS_WIN
#include "engine/pipe/SocketFolder.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#endif

namespace {

/** One end of a pipe through the library's exports, closed at the end. */
struct End
{
    End(const char *name, bool isRead)
    {
        std::strncpy(record.serverName, name, sizeof record.serverName - 1);
        record.isRead = isRead ? 1 : 0;
    }
    ~End() { close(); }
    End(const End &) = delete;
    End &operator=(const End &) = delete;

    std::int32_t id() const { return record.id; }
    std::int32_t create() { return tarn_comm_create(&record); }
    std::int32_t init() { return init_communication_sdk(&record); }
    std::int32_t connect() { return tarn_comm_connect(&record); }
    std::int32_t accept(std::uint32_t timeoutMs = 10000)
    {
        const std::int32_t handle = id();
        return tarn_comm_accept(&handle, timeoutMs);
    }
    std::int32_t write(const QByteArray &bytes)
    {
        const std::int32_t handle = id();
        return tarn_comm_write(&handle, bytes.constData(), static_cast<std::uint32_t>(bytes.size()),
                               1);
    }
    std::int32_t wait(std::uint32_t timeoutMs = 10000)
    {
        const std::int32_t handle = id();
        return tarn_comm_wait(&handle, timeoutMs);
    }
    /** Waits for a message; the result of the read that took one. */
    std::int32_t read(QByteArray &buffer)
    {
        const std::int32_t handle = id();
        std::int32_t size = 0;
        do
            size = tarn_comm_read(&handle, buffer.data(), static_cast<std::uint32_t>(buffer.size()),
                                  0);
        while (size == 0 && wait() == CommunicationReadable);
        return size;
    }
    void close()
    {
        const std::int32_t handle = id();
        close_communication_sdk(&handle);
    }

    TarnPipeRecord record{};
};

/** Creates the pipe, connects the client to it and accepts it. */
bool join(End &service, End &client)
{
    return service.create() == CommunicationOk && client.init() == CommunicationOk &&
           client.connect() == CommunicationOk && service.accept() == CommunicationOk;
}

} // namespace

/** The transport, both ends in one process unless said otherwise. */
class PipeTest : public TestCase
{
    Q_OBJECT

private Q_SLOTS:
    void oneWriteIsOneRead_data()
    {
        QTest::addColumn<int>("size");
        for (const int size : {1, 4096, 262143, 262144, 5000000})
            QTest::addRow("%d bytes", size) << size;
    }

    void oneWriteIsOneRead()
    {
        QFETCH(int, size);
        End service("p", false);
        End client("p", true);
        QVERIFY(join(service, client));
        QVERIFY(service.id() > 0);

        QByteArray message(size, '\0');
        for (int i = 0; i < size; ++i)
            message[i] = static_cast<char>(i * 31);
        std::int32_t written = 0;
        std::thread writer([&] {
            written = service.write(message);
            service.write("next");
        });
        QByteArray buffer(size + 10, '\0');
        QCOMPARE(client.read(buffer), size);
        QVERIFY(buffer.left(size) == message);
        QCOMPARE(client.read(buffer), 4);
        QCOMPARE(buffer.left(4), QByteArray("next"));
        writer.join();
        QCOMPARE(written, size);
    }

    void readDoesNotWait()
    {
        End service("p", false);
        End client("p", true);
        QCOMPARE(service.create(), CommunicationOk);
        client.init();
        QCOMPARE(client.connect(), CommunicationOk);
        const std::int32_t handle = client.id();
        char byte = 0;
        QCOMPARE(tarn_comm_read(&handle, &byte, 1, 0), 0);
        QCOMPARE(client.wait(0), CommunicationNothing);
    }

    void whatGoesBeyondTheBufferIsDropped()
    {
        End service("p", false);
        End client("p", true);
        QVERIFY(join(service, client));
        service.write("abcdef");
        service.write("gh");
        QByteArray buffer(4, '\0');
        QCOMPARE(client.read(buffer), 4);
        QCOMPARE(buffer, QByteArray("abcd"));
        // Both had arrived together: the second is there without anything coming in.
        QCOMPARE(client.wait(0), CommunicationReadable);
        QCOMPARE(client.read(buffer), 2);
        QCOMPARE(buffer.left(2), QByteArray("gh"));
    }

    void messageArrivesAfterItsWriterHasLeft()
    {
        End client("p", true);
        {
            End service("p", false);
            QVERIFY(join(service, client));
            QCOMPARE(service.write("last words"), 10);
        }
        QByteArray buffer(100, '\0');
        QCOMPARE(client.read(buffer), 10);
        QCOMPARE(client.wait(), CommunicationPeerGone);
        const std::int32_t handle = client.id();
        QCOMPARE(tarn_comm_read(&handle, buffer.data(), 100, 0), 0);
    }

    void writingToNobodyFallsShort()
    {
        End service("p", false);
        {
            End client("p", true);
            QVERIFY(join(service, client));
        }
        QCOMPARE(service.write("x"), 0);
        QCOMPARE(service.wait(), CommunicationPeerGone);
    }

    void noSuchPipe()
    {
        End client("nobody", true);
        QCOMPARE(client.init(), CommunicationOk);
        QCOMPARE(client.connect(), CommunicationNoSuchPipe);
    }

    void nameInUse()
    {
        End first("p", false);
        End second("p", false);
        QCOMPARE(first.create(), CommunicationOk);
        QCOMPARE(second.create(), CommunicationNameInUse);
        QVERIFY(pipeExists(QStringLiteral("p")));
    }

    void closingFreesTheName()
    {
        End service("p", false);
        service.create();
        QVERIFY(pipeExists(QStringLiteral("p")));
        service.close();
        QVERIFY(!pipeExists(QStringLiteral("p")));
    }

    void wrongDirectionIsNoClient()
    {
        End service("p", false);
        End wrong("p", false);
        service.create();
        wrong.init();
        QCOMPARE(wrong.connect(), CommunicationOk);
        QCOMPARE(service.accept(100), CommunicationTimeout);
    }

    void nobodyComes()
    {
        End service("p", false);
        service.create();
        QCOMPARE(service.accept(50), CommunicationTimeout);
    }

    void badRecords()
    {
        QCOMPARE(init_communication_sdk(nullptr), CommunicationBadRecord);
        QCOMPARE(tarn_comm_create(nullptr), CommunicationBadRecord);
        QCOMPARE(tarn_comm_connect(nullptr), CommunicationBadRecord);
        for (const char *name : {"", "a/b", "a\\b", ".hidden"}) {
            End end(name, true);
            QCOMPARE(end.init(), CommunicationBadRecord);
        }
        End unterminated("p", true);
        std::memset(unterminated.record.serverName, 'x', sizeof unterminated.record.serverName);
        QCOMPARE(unterminated.init(), CommunicationBadRecord);
    }

    void badHandles()
    {
        const std::int32_t handle = 123456;
        char byte = 0;
        QCOMPARE(tarn_comm_read(&handle, &byte, 1, 0), -1);
        QCOMPARE(tarn_comm_read(nullptr, &byte, 1, 0), -1);
        QCOMPARE(tarn_comm_write(&handle, &byte, 1, 1), 0);
        QCOMPARE(tarn_comm_wait(&handle, 0), -1);
        QCOMPARE(tarn_comm_accept(&handle, 0), CommunicationBadHandle);
        close_communication_sdk(&handle);
        close_communication_sdk(nullptr);
        End client("p", true);
        client.init();
        QCOMPARE(client.accept(), CommunicationBadHandle);
        QCOMPARE(client.write("x"), 0);
        QCOMPARE(client.wait(), CommunicationPeerGone);
    }

#ifndef Q_OS_WIN
    // Where a name is a file, in a folder: see SocketFolder.

    void nameIsFreeOnceTheClientIsThere()
    {
        End service("p", false);
        End client("p", true);
        service.create();
        QCOMPARE(names(), QStringList(QStringLiteral("p")));
        client.init();
        client.connect();
        QCOMPARE(service.accept(), CommunicationOk);
        QCOMPARE(names(), QStringList());
    }

    void lookingAtANameDoesNotTakeIt()
    {
        End service("p", false);
        End client("p", true);
        service.create();
        SocketFolder().removeStaleNames();
        SocketFolder().removeStaleNames();
        client.init();
        QCOMPARE(client.connect(), CommunicationOk);
        QCOMPARE(service.accept(), CommunicationOk);
        QCOMPARE(service.write("x"), 1);
        QByteArray buffer(1, '\0');
        QCOMPARE(client.read(buffer), 1);
    }

    void killedCreatorLeavesNoName()
    {
        int ready[2] = {};
        QCOMPARE(pipe(ready), 0);
        const pid_t child = fork();
        if (child == 0) {
            End service("p", false);
            const char created = service.create() == CommunicationOk ? 'y' : 'n';
            if (::write(ready[1], &created, 1) == 1)
                pause();
            _exit(1);
        }
        char created = 0;
        QCOMPARE(::read(ready[0], &created, 1), 1);
        QCOMPARE(created, 'y');
        QCOMPARE(names(), QStringList(QStringLiteral("p")));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        QVERIFY(QTest::qWaitFor([] { return names().isEmpty(); }));
        ::close(ready[0]);
        ::close(ready[1]);
    }

    void staleNameIsRemovedByTheNextCreator()
    {
        const SocketFolder folder(SocketFolder::Missing::Create);
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        const sockaddr_un address = folder.address("stale");
        QCOMPARE(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        ::close(fd);
        QCOMPARE(names(), QStringList(QStringLiteral("stale")));
        End service("p", false);
        QCOMPARE(service.create(), CommunicationOk);
        QCOMPARE(names(), QStringList(QStringLiteral("p")));
    }

    void folderIsTheUsersAlone()
    {
        End service("p", false);
        service.create();
        struct stat info = {};
        QCOMPARE(stat(Testing::pipeFolder().toUtf8().constData(), &info), 0);
        QCOMPARE(info.st_mode & 0777U, 0700U);
        QCOMPARE(info.st_uid, geteuid());
    }

    void openFolderIsRefused()
    {
        End before("before", false);
        before.create();
        QCOMPARE(chmod(Testing::pipeFolder().toUtf8().constData(), 0755), 0);
        End service("p", false);
        End client("before", true);
        client.init();
        const std::int32_t created = service.create();
        const std::int32_t connected = client.connect();
        QCOMPARE(chmod(Testing::pipeFolder().toUtf8().constData(), 0700), 0);
        QCOMPARE(created, CommunicationRefused);
        QCOMPARE(connected, CommunicationNoSuchPipe);
    }

    void linkInPlaceOfTheFolderIsRefused()
    {
        const QString folder = Testing::pipeFolder();
        QVERIFY(QDir(folder).removeRecursively());
        const QTemporaryDir elsewhere;
        QVERIFY(QFile::link(elsewhere.path(), folder));
        End service("p", false);
        const std::int32_t created = service.create();
        QVERIFY(QFile::remove(folder));
        QCOMPARE(created, CommunicationRefused);
    }

private:
    static QStringList names()
    {
        return entriesOf(Testing::pipeFolder());
    }
#else
    void aSecondClientIsNone()
    {
        End service("p", false);
        End client("p", true);
        End second("p", true);
        QVERIFY(join(service, client));
        second.init();
        QCOMPARE(second.connect(), CommunicationNoSuchPipe);
    }

    void endOfTheThreadThatWaitedLosesNothing()
    {
        End service("p", false);
        End client("p", true);
        // The system gives up what a thread has begun when that ends.
        QVERIFY(service.create() == CommunicationOk);
        std::thread([&] { QCOMPARE(service.accept(0), CommunicationTimeout); }).join();
        client.init();
        QCOMPARE(client.connect(), CommunicationOk);
        QCOMPARE(service.accept(), CommunicationOk);
        std::thread([&] { QCOMPARE(client.wait(0), CommunicationNothing); }).join();
        QCOMPARE(service.write("still here"), 10);
        QByteArray buffer(100, '\0');
        QCOMPARE(client.read(buffer), 10);
    }
#endif
};

VELLUMIX_TEST_MAIN(PipeTest)

#include "tst_pipe.moc"
