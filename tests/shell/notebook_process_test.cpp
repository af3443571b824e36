// The notebook as a real process under a display: the system's quit signals save every committed stroke
// and drop the one still running; a launch made while a notebook closes waits for it and opens its book
// itself; and the demo draws in a book of its own, never in the books folder, and photographs the whole
// window.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <csignal>
#include <limits>

#include "objects/qt/QtImageCodec.h"
#include "shell/BookFile.h"

namespace velumen {
namespace {

QCoreApplication& app() {
    static int argc = 1;
    static char name[] = "notebook_process_test";
    static char* argv[] = {name, nullptr};
    if (!QCoreApplication::instance()) new QCoreApplication(argc, argv);
    return *QCoreApplication::instance();
}

// Children need a display; under CI its absence is a failure, elsewhere the tests are skipped.
#define REQUIRE_DISPLAY()                                                           \
    do {                                                                            \
        app();                                                                      \
        if (qEnvironmentVariableIsEmpty("DISPLAY")) {                               \
            if (qEnvironmentVariable("CI") == "true") FAIL() << "no display (Xvfb)";\
            GTEST_SKIP() << "no display";                                           \
        }                                                                           \
    } while (0)

QByteArray bytesOf(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

FoliantDataPtr readBack(const QString& path) {
    QtImageCodec codec;
    std::string error;
    return readBook(path, codec, error);
}

void writeTo(FoliantData& book, const QString& path) {
    QtImageCodec codec;
    std::string error;
    ASSERT_TRUE(writeBook(book, path, codec, error)) << error;
}

// One notebook process with its own settings and instance name, its output collected as it comes.
struct Notebook {
    QProcess process;
    QByteArray out;

    Notebook(const QTemporaryDir& dir, const QString& instance, QStringList args) {
        process.setProgram(VELUMEN_NOTEBOOK_PATH);
        // In a sanitized build the child's report at exit would list what the desktop's libraries (D-Bus, the
        // GL driver) keep until the end, which no status here can tell from a fault of ours; the notebook's own
        // code is checked for leaks by the tests that run it in process.
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        const QString asan = env.value("ASAN_OPTIONS");
        env.insert("ASAN_OPTIONS", (asan.isEmpty() ? QString() : asan + ":") + "detect_leaks=0");
        process.setProcessEnvironment(env);
        args << "--settings" << dir.filePath("defaults.plist") << "--instance" << instance;
        process.setArguments(args);
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start();
    }
    ~Notebook() {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished(5000);
        }
    }
    // Waits until the output holds `text`; false after `ms` or when the process ended without it.
    bool waitFor(const QByteArray& text, int ms = 60000) {
        QElapsedTimer clock;
        clock.start();
        for (;;) {
            out += process.readAllStandardOutput();
            if (out.contains(text)) return true;
            if (process.state() == QProcess::NotRunning || clock.elapsed() > ms) return false;
            process.waitForReadyRead(100);
        }
    }
    bool finish(int ms = 120000) {
        const bool ended = process.waitForFinished(ms);
        out += process.readAllStandardOutput();
        return ended;
    }
    void signal(int number) { ::kill(pid_t(process.processId()), number); }
};

QString instanceName(const char* tag) {
    return QString("velumen-test-%1-%2").arg(QCoreApplication::applicationPid()).arg(tag);
}

// A touch script: the view of 600 x 700 points, one finger drawing left to right at view height y from
// `start` seconds; `end` false leaves the touch down.
QByteArray strokeLines(double y, double start, bool end) {
    QByteArray text;
    for (int i = 0; i <= 20; ++i) {
        const char* phase = i == 0 ? "began" : i == 20 && end ? "ended" : "moved";
        text += QString("{\"time\": %1, \"phase\": \"%2\", \"id\": 1, \"x\": %3, \"y\": %4, \"type\": \"finger\", "
                        "\"view\": [600, 700]}\n")
                    .arg(start + i * 0.02)
                    .arg(phase)
                    .arg(150 + 10 * i)
                    .arg(y)
                    .toUtf8();
    }
    return text;
}

QString writeScript(const QTemporaryDir& dir, const QByteArray& text) {
    const QString path = dir.filePath("strokes.touches");
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(text);
    return path;
}

// The bounds of every dot on the book's first page.
struct Bounds {
    double minX = std::numeric_limits<double>::infinity(), minY = minX, maxX = -minX, maxY = -minX;
    std::uint64_t dots = 0;
};
Bounds inkBounds(const FoliantData& book) {
    Bounds b;
    if (!book.pointSets()) return b;
    for (const auto& run : book.pointSets()->pointSets()) {
        const float* p = run->buffer();
        for (std::uint64_t i = 0; i < run->length(); ++i) {
            b.minX = std::min(b.minX, double(p[3 * i]));
            b.maxX = std::max(b.maxX, double(p[3 * i]));
            b.minY = std::min(b.minY, double(p[3 * i + 1]));
            b.maxY = std::max(b.maxY, double(p[3 * i + 1]));
            ++b.dots;
        }
    }
    return b;
}

class QuitSignal : public ::testing::TestWithParam<int> {};

TEST_P(QuitSignal, SavesEveryCommittedStrokeDropsTheRunningOneAndExitsCleanly) {
    REQUIRE_DISPLAY();
    QTemporaryDir dir;
    const QString books = dir.filePath("Books");
    // Two strokes drawn, 100 points apart, then a third far below still under the finger.
    const QString script =
        writeScript(dir, strokeLines(100, 0, true) + strokeLines(200, 1, true) + strokeLines(550, 2, false));
    Notebook notebook(dir, instanceName("signal"), {"--books", books, "--script", script});
    ASSERT_TRUE(notebook.waitFor("velumen: script played")) << notebook.out.constData();

    notebook.signal(GetParam());
    ASSERT_TRUE(notebook.finish());
    EXPECT_EQ(notebook.process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(notebook.process.exitCode(), 0);
    EXPECT_TRUE(notebook.out.contains("velumen: closing"));

    const FoliantDataPtr saved = readBack(QDir(books).filePath("Notebook.velumen"));
    ASSERT_TRUE(saved);
    const Bounds ink = inkBounds(*saved);
    ASSERT_GT(ink.dots, 20u);
    // Both strokes are there: the ink is 100 view points tall for 200 wide; with the running stroke it
    // would be 450 tall.
    const double wide = ink.maxX - ink.minX, tall = ink.maxY - ink.minY;
    EXPECT_GT(tall, 0.35 * wide);
    EXPECT_LT(tall, 0.8 * wide);
}
INSTANTIATE_TEST_SUITE_P(TermAndHangup, QuitSignal, ::testing::Values(SIGTERM, SIGHUP),
                         [](const auto& p) { return std::string(p.param == SIGTERM ? "Term" : "Hangup"); });

TEST(NotebookProcess, ALaunchDuringACloseWaitsForItAndOpensItsBookItself) {
    REQUIRE_DISPLAY();
    QTemporaryDir dir;
    const QString books = dir.filePath("Books");
    QDir().mkpath(books);
    // A book of a hundred thousand dots, with a stroke to save at the close.
    const QString big = dir.filePath("Big.velumen");
    {
        FoliantDataPtr book = newOnePageBook();
        auto page = std::make_shared<KVSPointSetArray>();
        for (int r = 0; r < 100; ++r) {
            auto run = page->addPointSetWithSize(1000);
            float* p = run->buffer();
            for (int i = 0; i < 1000; ++i) {
                p[3 * i] = float(40 + (r % 25) * 58 + (i % 50));
                p[3 * i + 1] = float(40 + (r / 25) * 46 + (i / 50) * 2);
                p[3 * i + 2] = 5.0f;
            }
        }
        book->setPointSets(page);
        ASSERT_NO_FATAL_FAILURE(writeTo(*book, big));
    }
    const QString name = instanceName("handover");
    Notebook first(dir, name, {"--books", books, "--script", writeScript(dir, strokeLines(300, 0, true)), big});
    ASSERT_TRUE(first.waitFor("velumen: script played")) << first.out.constData();

    first.signal(SIGTERM);
    ASSERT_TRUE(first.waitFor("velumen: closing"));
    // Held in the middle of its close, however fast that close would be.
    first.signal(SIGSTOP);
    const QString other = dir.filePath("Other.velumen");
    ASSERT_NO_FATAL_FAILURE(writeTo(*newOnePageBook(), other));
    Notebook second(dir, name, {"--books", books, other});
    const bool waited = second.waitFor("velumen: waiting for the notebook that is starting or closing");
    first.signal(SIGCONT);
    ASSERT_TRUE(waited) << second.out.constData();
    EXPECT_FALSE(second.out.contains("velumen: opened"));
    ASSERT_TRUE(second.waitFor(("velumen: opened " + other).toUtf8())) << second.out.constData();

    // The first one has gone, having saved its stroke; the second one runs with its book.
    ASSERT_TRUE(first.finish());
    EXPECT_EQ(first.process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(first.process.exitCode(), 0);
    EXPECT_GT(inkBounds(*readBack(big)).dots, 100000u);
    EXPECT_EQ(second.process.state(), QProcess::Running);
    EXPECT_FALSE(second.out.contains("took over"));

    // And it is the running notebook now: a third launch hands its book over.
    Notebook third(dir, name, {"--books", books, big});
    ASSERT_TRUE(third.finish(30000));
    EXPECT_TRUE(third.out.contains("the running notebook took over")) << third.out.constData();
    EXPECT_TRUE(second.waitFor(("velumen: opened " + big).toUtf8())) << second.out.constData();
    second.signal(SIGTERM);
    ASSERT_TRUE(second.finish());
    EXPECT_EQ(second.process.exitCode(), 0);
}

TEST(NotebookProcess, TheDemoDrawsInABookOfItsOwnAndPhotographsTheWholeWindow) {
    REQUIRE_DISPLAY();
    QTemporaryDir dir;
    const QString books = dir.filePath("Books");
    QDir().mkpath(books);
    const QString notebook = QDir(books).filePath("Notebook.velumen");
    ASSERT_NO_FATAL_FAILURE(writeTo(*newOnePageBook(), notebook));
    const QByteArray before = bytesOf(notebook);
    const QString shot = dir.filePath("demo.png");
    for (int run = 0; run < 2; ++run) {
        Notebook demo(dir, instanceName("demo"), {"--books", books, "--demo", shot});
        ASSERT_TRUE(demo.finish());
        ASSERT_EQ(demo.process.exitCode(), 0) << demo.out.constData();
        // The book it drew in, said where, holds the page; the folder is the demo's own.
        const QRegularExpressionMatch where =
            QRegularExpression("book of its own in (\\S+)").match(QString::fromUtf8(demo.out));
        ASSERT_TRUE(where.hasMatch()) << demo.out.constData();
        const QString demoFolder = where.captured(1);
        ASSERT_FALSE(demoFolder.startsWith(books));
        const FoliantDataPtr drawn = readBack(QDir(demoFolder).filePath("Notebook.velumen"));
        ASSERT_TRUE(drawn);
        const Bounds ink = inkBounds(*drawn);
        EXPECT_GT(ink.dots, 100u);
        // Every stroke inside the page.
        EXPECT_GE(ink.minX, 0);
        EXPECT_GE(ink.minY, 0);
        EXPECT_LE(ink.maxX, 1536);
        EXPECT_LE(ink.maxY, 1920);
        QDir(demoFolder).removeRecursively();
    }
    EXPECT_EQ(bytesOf(notebook), before);
    EXPECT_EQ(QDir(books).entryList(QDir::Files | QDir::NoDotAndDotDot), QStringList({"Notebook.velumen"}));

    // The picture is of the whole window (600 x 750), toolbar and page alike.
    const QImage image(shot);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(600, 750));
    const QRgb toolbar = image.pixel(image.width() / 2, 5);
    const QRgb page = image.pixel(image.width() / 2, image.height() / 2 + 60);
    EXPECT_NE(toolbar, page);
    int inked = 0;
    for (int y = 40; y < image.height(); y += 3)
        for (int x = 0; x < image.width(); x += 3)
            inked += qGray(image.pixel(x, y)) < 160;
    EXPECT_GT(inked, 300);
}

}  // namespace
}  // namespace velumen
