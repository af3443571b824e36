// `velumen replay` run as a program: the same script on the same book gives the same file, ink lands where
// the script touched, and a bad line stops everything with its number. Every pen and the eraser, at two
// zooms, give the ink of their golden files, one segment of which is worked out here by hand; and a stroke
// keeps its share of the page at every device pixel ratio.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "document/FoliantData.h"
#include "objects/qt/QtImageCodec.h"

namespace {

namespace fs = std::filesystem;

#ifdef __SANITIZE_ADDRESS__
// The GL driver unloads itself, with a few blocks it still holds, before the leak check of a sanitized tool
// can name them. The same editor code is leak-checked in process by the end-to-end tests.
constexpr const char* kToolEnvironment = "ASAN_OPTIONS=detect_leaks=0:abort_on_error=1 ";
#else
constexpr const char* kToolEnvironment = "";
#endif
using namespace velumen;

std::string slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// A stylus stroke of 40 samples from (100, 200) to the right, then a finger tap elsewhere.
std::string strokeScript() {
    std::string script = "# a stroke and a tap\n";
    for (int i = 0; i < 40; ++i) {
        const char* phase = i == 0 ? "began" : i == 39 ? "ended" : "moved";
        script += "{\"time\":" + std::to_string(i) + "e-2,\"phase\":\"" + phase +
                  "\",\"id\":7,\"x\":" + std::to_string(100 + 5 * i) + ",\"y\":" +
                  std::to_string(200 + (i % 7)) + ",\"type\":\"stylus\",\"force\":0.5,\"view\":[600,750]}\n";
    }
    script += "\n{\"time\":1,\"phase\":\"began\",\"id\":1,\"x\":300,\"y\":500,\"type\":\"finger\",\"radius\":null,"
              "\"view\":[600,750]}\n";
    script += "{\"time\":1.1,\"phase\":\"ended\",\"id\":1,\"x\":300,\"y\":500,\"type\":\"finger\",\"view\":[600,750]}\n";
    return script;
}

class Replay : public ::testing::Test {
  protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("velumen-replay-" + std::to_string(::getpid()) + "-" +
                                           ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }

    // The tool with its arguments, after the environment's assignments; its output in out, its errors in err.
    int tool(const std::string& args, std::string* out = nullptr, std::string* err = nullptr,
             const std::string& environment = "") {
        const fs::path outPath = dir / "stdout", errPath = dir / "stderr";
        const std::string command = std::string(kToolEnvironment) + environment + " " + VELUMEN_TOOL + " " + args +
                                    " >" + outPath.string() + " 2>" + errPath.string();
        const int raw = std::system(command.c_str());
        if (out) *out = slurp(outPath);
        if (err) *err = slurp(errPath);
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }

    int replay(const std::string& script, const std::string& book, std::string* err = nullptr) {
        const fs::path scriptPath = dir / "script.jsonl", errPath = dir / "stderr";
        std::ofstream(scriptPath, std::ios::binary) << script;
        const std::string command = std::string(kToolEnvironment) + VELUMEN_TOOL + " replay " + scriptPath.string() +
                                    " " + (dir / book).string() + " >/dev/null 2>" + errPath.string();
        const int raw = std::system(command.c_str());
        if (err) *err = slurp(errPath);
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }

    fs::path dir;
};

TEST_F(Replay, SameScriptGivesSameBookWithInkWhereTouched) {
    ASSERT_EQ(replay(strokeScript(), "a.velumen"), 0);
    ASSERT_EQ(replay(strokeScript(), "b.velumen"), 0);
    const std::string a = slurp(dir / "a.velumen");
    ASSERT_FALSE(a.empty());
    EXPECT_EQ(a, slurp(dir / "b.velumen"));

    QtImageCodec codec;
    const auto book = unarchiveFoliantData(
        {reinterpret_cast<const std::uint8_t*>(a.data()), a.size()}, &codec);
    ASSERT_TRUE(book && book->pointSets());
    // The stroke and the tap's dot; the stroke's dots lie along the touched line in page units.
    const auto& runs = book->pointSets()->pointSets();
    ASSERT_EQ(runs.size(), 2u);
    const double zoom = book->currentPage()->zoomFactor;
    ASSERT_GT(zoom, 0);
    const float* p = runs[0]->data().floats();
    double minX = 1e9, maxX = -1e9;
    for (std::uint64_t i = 0; i < runs[0]->length(); ++i) {
        minX = std::min(minX, double(p[3 * i]));
        maxX = std::max(maxX, double(p[3 * i]));
        EXPECT_NEAR(p[3 * i + 1], 203 / zoom, 8 / zoom);
    }
    EXPECT_NEAR(minX, 100 / zoom, 3 / zoom);
    EXPECT_NEAR(maxX, 295 / zoom, 3 / zoom);

    // Replayed onto the existing book, the ink is added to it.
    ASSERT_EQ(replay(strokeScript(), "a.velumen"), 0);
    EXPECT_GT(slurp(dir / "a.velumen").size(), a.size());
}

TEST_F(Replay, BadLineStopsWithItsNumberAndWritesNothing) {
    const std::string good = "{\"time\":0,\"phase\":\"began\",\"id\":1,\"x\":10,\"y\":10,\"type\":\"finger\","
                             "\"view\":[600,750]}\n";
    const std::pair<std::string, std::string> cases[] = {
        {"{\"time\":0.1,\"phase\":\"moved\",\"id\":1,\"x\":10,\"y\":", "not JSON"},
        {"[1,2]", "not a JSON object"},
        {"{\"time\":0.1,\"phase\":\"hover\",\"id\":1,\"x\":1,\"y\":1,\"type\":\"finger\",\"view\":[600,750]}", "phase"},
        {"{\"time\":-1,\"phase\":\"moved\",\"id\":1,\"x\":1,\"y\":1,\"type\":\"finger\",\"view\":[600,750]}", "time"},
        {"{\"time\":0.1,\"phase\":\"moved\",\"id\":1.5,\"x\":1,\"y\":1,\"type\":\"finger\",\"view\":[600,750]}", "id"},
        {"{\"time\":0.1,\"phase\":\"moved\",\"id\":1,\"x\":\"a\",\"y\":1,\"type\":\"finger\",\"view\":[600,750]}", "x"},
        {"{\"time\":0.1,\"phase\":\"moved\",\"id\":1,\"x\":1,\"y\":1,\"type\":\"mouse\",\"view\":[600,750]}", "type"},
        {"{\"time\":0.1,\"phase\":\"moved\",\"id\":1,\"x\":1,\"y\":1,\"type\":\"finger\",\"force\":2,\"view\":[600,750]}",
         "force"},
        {"{\"time\":0.1,\"phase\":\"moved\",\"id\":1,\"x\":1,\"y\":1,\"type\":\"finger\",\"view\":[0,750]}", "view"},
        {"{\"time\":0.1,\"phase\":\"moved\",\"id\":1,\"x\":1,\"y\":1,\"type\":\"finger\",\"view\":[1e300,750]}", "view"},
    };
    for (const auto& [line, what] : cases) {
        std::string err;
        EXPECT_EQ(replay(good + "\n" + line + "\n" + good, "bad.velumen", &err), 1) << line;
        EXPECT_EQ(err.rfind("LINE 3: ", 0), 0u) << err;
        EXPECT_NE(err.find(what), std::string::npos) << err;
        EXPECT_FALSE(fs::exists(dir / "bad.velumen"));
    }
    // Pen and zoom lines are checked like the others.
    const std::pair<std::string, std::string> setups[] = {
        {"{\"time\":0.1,\"pen\":{\"index\":7}}", "\"index\""},
        {"{\"time\":0.1,\"pen\":{\"index\":1,\"color\":[1,1]}}", "\"color\""},
        {"{\"time\":0.1,\"zoom\":0}", "\"zoom\""},
        {"{\"time\":0.1,\"zoom\":2}", "while a touch is down"},
    };
    std::string ended = good;
    ended.replace(ended.find("began"), 5, "ended");
    for (const auto& [line, what] : setups) {
        std::string err;
        const bool down = what == "while a touch is down";
        EXPECT_EQ(replay(good + (down ? "" : ended) + line + "\n", "bad.velumen", &err), 1) << line;
        EXPECT_EQ(err.rfind(down ? "LINE 2: " : "LINE 3: ", 0), 0u) << err;
        EXPECT_NE(err.find(what), std::string::npos) << err;
        EXPECT_FALSE(fs::exists(dir / "bad.velumen"));
    }
    // Time going back.
    std::string err;
    EXPECT_EQ(replay(good + good.substr(0, 8) + "1" + good.substr(9) + good, "bad.velumen", &err), 1);
    EXPECT_EQ(err.rfind("LINE 3: ", 0), 0u) << err;
}

// A zoom line zooms about the middle of the view, (300, 375) here, which shows the page's (768, 960) at the
// first zoom, the page just covering the view; the zoom stays within the page's limits.
TEST_F(Replay, ZoomLinesZoomAboutTheMiddleWithinTheLimits) {
    const struct {
        const char* zoom;
        float expected;
        Point pan;
    } cases[] = {
        {"1.5", 1.5f, {300 - 768 * 1.5, 375 - 960 * 1.5}},
        {"100", 0.390625f * 12, {300 - 768 * 4.6875, 375 - 960 * 4.6875}},
        {"0.01", 0.390625f, {0, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.zoom);
        const std::string script =
            std::string("{\"time\":0,\"zoom\":") + c.zoom + "}\n" +
            "{\"time\":1,\"phase\":\"began\",\"id\":1,\"x\":20,\"y\":20,\"type\":\"finger\",\"view\":[600,750]}\n"
            "{\"time\":1.1,\"phase\":\"ended\",\"id\":1,\"x\":20,\"y\":20,\"type\":\"finger\",\"view\":[600,750]}\n";
        fs::remove(dir / "zoom.velumen");
        ASSERT_EQ(replay(script, "zoom.velumen"), 0);
        const std::string bytes = slurp(dir / "zoom.velumen");
        QtImageCodec codec;
        const auto book = unarchiveFoliantData({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()},
                                               &codec);
        ASSERT_TRUE(book && book->currentPage());
        EXPECT_EQ(book->currentPage()->zoomFactor, c.expected);
        EXPECT_EQ(book->currentPage()->panDelta, c.pan);
        // The tap's dot lies where the zoomed page is touched.
        ASSERT_EQ(book->pointSets()->count(), 1u);
        const float* dot = book->pointSets()->objectAtIndex(0)->data().floats();
        EXPECT_NEAR(dot[0], (20 - c.pan.x) / c.expected, 1e-3);
    }
}

// ---- Golden ink ----

const char* const kFixtures[] = {"pen0-zoom0.5", "pen0-zoom1.5", "pen1-zoom0.5", "pen1-zoom1.5", "pen2-zoom0.5",
                                 "pen2-zoom1.5", "pen3-zoom0.5", "pen3-zoom1.5", "pen4-zoom0.5", "pen4-zoom1.5"};

fs::path fixture(const std::string& name) {
    return fs::path(VELUMEN_REPLAY_FIXTURES) / name;
}

std::string text(float v) {
    char buffer[32];
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, v).ptr);
}

FoliantDataPtr readBook(const fs::path& path) {
    static const QtImageCodec codec;
    const std::string bytes = slurp(path);
    return unarchiveFoliantData({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, &codec);
}

// One line per run of the current page: its dots, the MD5 of their records, its first and last dot exactly.
std::string inkDigest(const FoliantData& book) {
    std::string out;
    int index = 0;
    for (const KVSPointSetPtr& run : book.pointSets()->pointSets()) {
        const float* p = run->data().floats();
        const std::uint64_t n = run->length();
        const QByteArray records(reinterpret_cast<const char*>(p), qsizetype(n * 12));
        out += "run " + std::to_string(index++) + ": " + std::to_string(n) + " dots, md5 " +
               QCryptographicHash::hash(records, QCryptographicHash::Md5).toHex().toStdString();
        if (n > 0) {
            const float* last = p + (n - 1) * 3;
            out += ", first " + text(p[0]) + " " + text(p[1]) + " " + text(p[2]) + ", last " + text(last[0]) + " " +
                   text(last[1]) + " " + text(last[2]);
        }
        out += "\n";
    }
    return out;
}

// Set VELUMEN_UPDATE_GOLDENS=1 to write the golden files from what the tool makes now, after a deliberate
// change of the ink.
TEST_F(Replay, EveryPenAndTheEraserAtTwoZoomsGiveTheirGoldenInk) {
    const bool update = std::getenv("VELUMEN_UPDATE_GOLDENS") != nullptr;
    for (const std::string name : kFixtures) {
        SCOPED_TRACE(name);
        const fs::path book = dir / (name + ".velumen");
        std::string err;
        ASSERT_EQ(tool("replay " + fixture(name + ".jsonl").string() + " " + book.string(), nullptr, &err), 0)
            << err;
        std::string info;
        ASSERT_EQ(tool("info " + book.string() + " --json", &info), 0);
        const FoliantDataPtr read = readBook(book);
        ASSERT_TRUE(read && read->pointSets());
        ASSERT_GE(read->pointSets()->count(), 1u);
        const std::string ink = info + inkDigest(*read);
        const fs::path golden = fixture(name + ".golden");
        if (update) {
            std::ofstream(golden, std::ios::binary) << ink;
        } else {
            EXPECT_EQ(ink, slurp(golden));
        }
    }
}

// The pencil's first curved segment at zoom 1.5, from the fixture's numbers and the rules of the stroke: the
// view-to-page mapping, the pressure factor, the speed curve in single precision, the width filter and the
// half Bezier. Every dot must be the replayed one to the bit.
TEST_F(Replay, PencilSegmentIsTheArithmeticOfItsSamples) {
    const std::string name = "pen2-zoom1.5";
    const fs::path book = dir / (name + ".velumen");
    ASSERT_EQ(tool("replay " + fixture(name + ".jsonl").string() + " " + book.string()), 0);
    const FoliantDataPtr read = readBook(book);
    ASSERT_TRUE(read && read->pointSets() && read->pointSets()->count() == 1);

    // The pen and the first three samples of the script.
    double width = 0;
    struct Sample {
        double time, x, y, force;
    };
    std::vector<Sample> samples;
    std::istringstream lines(slurp(fixture(name + ".jsonl")));
    for (std::string line; std::getline(lines, line) && samples.size() < 3;) {
        const QJsonObject o = QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
        if (o.contains("pen")) width = o["pen"].toObject()["width"].toDouble();
        if (o.contains("phase"))
            samples.push_back({o["time"].toDouble(), o["x"].toDouble(), o["y"].toDouble(), o["force"].toDouble()});
    }
    ASSERT_EQ(width, 3.0);
    ASSERT_EQ(samples.size(), 3u);

    // View points to page units with the page's zoom and pan.
    const double zoom = read->currentPage()->zoomFactor;
    const Point pan = read->currentPage()->panDelta;
    ASSERT_EQ(float(zoom), 1.5f);
    Point c[3];
    for (int i = 0; i < 3; ++i)
        c[i] = {(samples[i].x - pan.x) / zoom, (samples[i].y - pan.y) / zoom};
    // A stylus: twice the force, within 0.8 and 1.2, times the width.
    auto thickness = [&](const Sample& s) {
        return float(width * std::clamp(2 * s.force / 1.0, 0.8, 1.2));
    };
    auto pencil = [](float v) {
        if (v < 3) return 1.0f;
        if (v > 60) return 0.75f;
        return 0.75f + 0.25f * (1.0f - (v - 3.0f) / 57.0f);
    };
    const double perTick = double(1.0f / 60.0f);
    const float dx = float(c[1].x - c[0].x), dy = float(c[1].y - c[0].y);
    const float length = std::sqrt(dx * dx + dy * dy);
    auto speed = [&](double interval) { return length * float(zoom) * float(perTick / interval); };

    // The second sample sets the size; the third draws from the first touch halfway along the curve.
    float size = thickness(samples[1]) * pencil(speed(samples[1].time - samples[0].time));
    const float T = thickness(samples[2]);
    const float target = T * pencil(speed(samples[2].time - samples[1].time));
    const float change = 0.012f * T;
    const float step = T * 0.125f;
    const std::int64_t m = std::min<std::int64_t>(std::int64_t(length / step), 2499) + 1;
    ASSERT_GT(m, 10);
    std::vector<float> expected;
    for (std::int64_t i = 1; i <= m; ++i) {
        size = size < target ? std::min(size + change, target) : std::max(size - change, target);
        const float t = float(i) / float(2 * m);
        const float u = 1.0f - t;
        const float a = u * u, b = 2.0f * u * t, c2 = t * t;
        expected.push_back(float(double(a) * c[0].x + double(b) * c[1].x + double(c2) * c[2].x));
        expected.push_back(float(double(a) * c[0].y + double(b) * c[1].y + double(c2) * c[2].y));
        expected.push_back(size);
    }
    ASSERT_NE(expected[2], expected[expected.size() - 1]);  // the filter moved
    const KVSPointSet& run = *read->pointSets()->objectAtIndex(0);
    ASSERT_GE(run.length(), std::uint64_t(m));
    const float* p = run.data().floats();
    EXPECT_EQ(std::vector<float>(p, p + m * 3), expected);
}

// ---- Device pixel ratio ----

// The width of black ink down the middle column of a picture on white, in pixels: the sum of the darkness
// of its pixels, which soft edges and filtering do not change the way a threshold would.
double strokeWidthInMiddleColumn(const QImage& image) {
    double ink = 0;
    const int x = image.width() / 2;
    for (int y = 0; y < image.height(); ++y)
        ink += 1.0 - qRed(image.pixel(x, y)) / 255.0;
    return ink;
}

TEST_F(Replay, StrokeKeepsItsShareOfThePageAtEveryPixelRatio) {
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) {
        const char* ci = std::getenv("CI");
        if (ci && std::strcmp(ci, "true") == 0) FAIL() << "no display for the screenshots";
        GTEST_SKIP() << "no display";
    }
    // A black pencil line across the view at an even pace.
    std::string script = "{\"time\":0,\"pen\":{\"index\":2,\"width\":12,\"color\":[0,0,0,1]}}\n";
    for (int i = 0; i <= 30; ++i) {
        const char* phase = i == 0 ? "began" : i == 30 ? "ended" : "moved";
        script += "{\"time\":" + std::to_string(i * 2) + "e-2,\"phase\":\"" + phase + "\",\"id\":1,\"x\":" +
                  std::to_string(100 + 14 * i) + ",\"y\":375,\"type\":\"finger\",\"view\":[600,750]}\n";
    }
    std::ofstream(dir / "line.jsonl", std::ios::binary) << script;

    struct Shot {
        const char* ratio;
        int width, height;
    };
    const Shot shots[] = {{"1", 600, 750}, {"1.5", 900, 1125}, {"2", 1200, 1500}};
    double share1 = 0;
    int lastWidth = 0;
    for (const Shot& shot : shots) {
        SCOPED_TRACE(shot.ratio);
        const std::string stem = std::string("ratio") + shot.ratio;
        const fs::path png = dir / (stem + ".png");
        std::string err;
        ASSERT_EQ(tool("replay " + (dir / "line.jsonl").string() + " " + (dir / (stem + ".velumen")).string() +
                           " --screenshot " + png.string(),
                       nullptr, &err, std::string("QT_SCALE_FACTOR=") + shot.ratio),
                  0)
            << err;
        const QImage image(QString::fromStdString(png.string()));
        ASSERT_FALSE(image.isNull());
        // The picture has the pixels of the screen: it grows with the ratio.
        EXPECT_EQ(image.width(), shot.width);
        EXPECT_EQ(image.height(), shot.height);
        EXPECT_GT(image.width(), lastWidth);
        lastWidth = image.width();
        const double stroke = strokeWidthInMiddleColumn(image);
        const double share = stroke / image.width();
        if (share1 == 0) {
            ASSERT_GE(stroke, 6);  // wide enough to tell a thinner one
            share1 = share;
        }
        // The same share of the page, within a pixel and a half at ratio 1 (the edges of small dots round
        // to whole pixels).
        EXPECT_NEAR(share, share1, 1.5 / shots[0].width) << stroke << " pixels of " << image.width();
    }
}

}  // namespace
