// `velumen replay` run as a program: the same script on the same book gives the same file, ink lands where
// the script touched, and a bad line stops everything with its number.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

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
    // Time going back.
    std::string err;
    EXPECT_EQ(replay(good + good.substr(0, 8) + "1" + good.substr(9) + good, "bad.velumen", &err), 1);
    EXPECT_EQ(err.rfind("LINE 3: ", 0), 0u) << err;
}

}  // namespace
