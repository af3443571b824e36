// The velumen tool run as a program on real files: books from our writer, an old book made by an
// independent writer (Python's plistlib), files that are not books, a hostile book whose class name and file
// name carry terminal controls, and saves refused by a file-size limit.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "../document/fixtures/archive_test_support.h"
#include "document/FoliantData.h"
#include "document/KeyedArchive.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen {
namespace {

namespace fs = std::filesystem;
using archive_test::Bytes;

#ifdef __SANITIZE_ADDRESS__
// The GL driver of `replay` unloads itself, with a few blocks it still holds, before the leak check can name
// them; the runs under a file-size limit include a replay.
constexpr const char* kToolEnvironment = "ASAN_OPTIONS=detect_leaks=0:abort_on_error=1 ";
#else
constexpr const char* kToolEnvironment = "";
#endif

// Single quotes for the shell, whatever the text holds.
std::string shellQuoted(const std::string& text) {
    std::string out = "'";
    for (const char c : text)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// A byte that would act on a terminal: C0 controls but the line's own end, DEL, and the UTF-8 form of C1.
bool holdsRawControls(const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if ((c < 0x20 && !(c == '\n' && i + 1 == text.size())) || c == 0x7F) return true;
        if (c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
            static_cast<unsigned char>(text[i + 1]) <= 0x9F)
            return true;
    }
    return false;
}

struct ToolRun {
    int status = -1;
    std::string out;
    std::string err;
};

std::string slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

class VelumenTool : public ::testing::Test {
  protected:
    // The tool in a child process whose files may not grow past `limit` bytes, if one is given. The signal a
    // write past the limit raises is left as it is: the tool itself must turn it into a failed write with its
    // reason.
    ToolRun tool(const std::string& args, rlim_t limit = RLIM_INFINITY) {
        const fs::path out = dir / "stdout", err = dir / "stderr";
        const std::string command = (limit == RLIM_INFINITY ? "" : kToolEnvironment) +
                                    std::string(VELUMEN_TOOL) + " " + args + " >" + out.string() + " 2>" +
                                    err.string();
        const pid_t child = ::fork();
        if (child == 0) {
            const rlimit fileSize{limit, limit};
            if (::setrlimit(RLIMIT_FSIZE, &fileSize) != 0 || std::signal(SIGXFSZ, SIG_DFL) == SIG_ERR)
                ::_exit(126);
            if (limit != RLIM_INFINITY) ::setenv("LC_ALL", "C", 1);  // the reason as the test words it
            ::execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
            ::_exit(127);
        }
        int raw = 0;
        if (child < 0 || ::waitpid(child, &raw, 0) != child) return {};
        return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(out), slurp(err)};
    }
    // Every name in the test's folder but the tool's captured output.
    std::vector<std::string> folderNames() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(dir)) {
            const std::string name = entry.path().filename().string();
            if (name != "stdout" && name != "stderr") names.push_back(name);
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    fs::path write(const std::string& name, const Bytes& bytes) {
        archive_test::writeFile(dir / name, bytes);
        return dir / name;
    }

    archive_test::TempDir temp;
    const fs::path dir = temp.path();
    QtImageCodec codec;
};

FoliantDataPtr sampleBook() {
    auto book = std::make_shared<FoliantData>();
    for (int p = 0; p < 2; ++p) {
        FoliantPagePtr page = FoliantData::createNewPage();
        KVSPointSetPtr run = KVSPointSet::initWithLength(static_cast<std::uint64_t>(3 + p));
        for (std::uint64_t i = 0; i < run->length(); ++i) {
            run->buffer()[i * 3] = 10.0f * static_cast<float>(i);
            run->buffer()[i * 3 + 1] = 20.0f;
            run->buffer()[i * 3 + 2] = 1.5f;
        }
        run->setColor({0.1, 0.5, 1.0, 0.75});
        page->pointSets->addObject(run);
        page->panDelta = {-12.5, 3};
        page->zoomFactor = 0.1f;
        page->images.push_back(std::make_shared<FoliantImage>());
        book->pages().push_back(page);
    }
    book->setPageNum(1);
    KImage preview;
    preview.width = 40;
    preview.height = 50;
    preview.scale = 2;
    preview.pixels.assign(40 * 50, 0xFF336699u);
    book->setThumbnail(std::make_shared<KImage>(preview));
    return book;
}

TEST_F(VelumenTool, DescribesAndDrawsABookFromOurWriter) {
    FoliantDataPtr book = sampleBook();
    const fs::path path = write("sample.velumen", archivedDataWithRootObject(*book, &codec));

    const ToolRun json = tool("info " + path.string() + " --json");
    ASSERT_EQ(json.status, 0) << json.err;
    // Colours are stored as 32-bit floats and reported exactly as read.
    const std::string run0 = R"({"length":3,"color":[0.10000000149011612,0.5,1,0.75]})";
    const std::string run1 = R"({"length":4,"color":[0.10000000149011612,0.5,1,0.75]})";
    const std::string page = R"(],"panDelta":[-12.5,3],"zoomFactor":0.1,"images":1,"textBoxes":0})";
    EXPECT_EQ(json.out, R"({"version":103,"pageNum":1,"isLocked":false,)"
                        R"("thumbnail":{"scale":2,"width":40,"height":50},"masterImages":0,)"
                        R"("pages":[{"pointSets":[)" +
                            run0 + page + R"(,{"pointSets":[)" + run1 + page + "]}\n");

    const ToolRun text = tool("info " + path.string());
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("40 x 50 pixels, scale 2"), std::string::npos) << text.out;

    const ToolRun current = tool("svg " + path.string());
    const ToolRun first = tool("svg " + path.string() + " --page 1");
    EXPECT_EQ(current.out, book->pages()[1]->pointSets->svgRepresentation());
    EXPECT_EQ(first.out, book->pages()[0]->pointSets->svgRepresentation());
    EXPECT_NE(current.out, first.out);
    const ToolRun missing = tool("svg " + path.string() + " --page 3");
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(missing.out.empty());
}

TEST_F(VelumenTool, UpgradesAnOldBookWrittenByAnotherImplementation) {
    // A version 101 book as an independent writer makes it: ink at book level, legacy runs of x, y pairs.
    const fs::path old = dir / "old.velumen";
    const std::string script = R"(
import plistlib, struct, sys
from plistlib import UID
o = ["$null"]
def add(x):
    o.append(x); return UID(len(o) - 1)
def cls(n): return add({"$classname": n, "$classes": [n, "NSObject"]})
color = add({"r": 0.0, "g": 0.0, "b": 1.0, "a": 1.0, "$class": cls("KColor")})
ps = cls("KPointSet")
run = add({"length": 99, "data": add(struct.pack("<6f", 1, 2, 3, 4, 5, 6)), "pointSize": 8.0, "color": color,
           "$class": ps})
empty = add({"length": 0, "data": add(b""), "pointSize": 2.0, "color": color, "$class": ps})
arr = add({"NS.objects": [run, empty], "$class": cls("NSArray")})
legacy = add({"pointSets": arr, "$class": cls("KPointSetArray")})
root = add({"version": 101, "pointSets": legacy, "panDelta": add("{4, 5}"), "zoomFactor": 2.0,
            "$class": cls("FoliantData")})
top = {"$archiver": "NSKeyedArchiver", "$version": 100000, "$objects": o, "$top": {"root": root}}
open(sys.argv[1], "wb").write(plistlib.dumps(top, fmt=plistlib.FMT_BINARY))
)";
    std::ofstream(dir / "make.py") << script;
    ASSERT_EQ(std::system(("python3 " + (dir / "make.py").string() + " " + old.string()).c_str()), 0);

    const ToolRun before = tool("info " + old.string() + " --json");
    ASSERT_EQ(before.status, 0) << before.err;
    EXPECT_EQ(before.out, R"({"version":101,"pageNum":0,"isLocked":false,"thumbnail":null,"masterImages":0,)"
                          R"("pages":[{"pointSets":[{"length":3,"color":[0,0,1,1]}],"panDelta":[4,5],)"
                          R"("zoomFactor":2,"images":0,"textBoxes":0}]})"
                          "\n");
    const fs::path upgraded = dir / "new.velumen";
    const ToolRun run = tool("upgrade " + old.string() + " " + upgraded.string());
    ASSERT_EQ(run.status, 0) << run.err;
    const ToolRun after = tool("info " + upgraded.string() + " --json");
    EXPECT_EQ(after.out, R"({"version":103)" + before.out.substr(before.out.find(',')));
    // Each legacy point's size is half the run's point size.
    EXPECT_NE(tool("svg " + upgraded.string()).out.find(R"(r="2.40")"), std::string::npos);
}

TEST_F(VelumenTool, RefusesFilesThatAreNotBooksWithOneLineAndNoOutput) {
    const Bytes good = archivedDataWithRootObject(*sampleBook(), &codec);
    const std::vector<std::pair<std::string, Bytes>> bad = {
        {"text.velumen", Bytes{'h', 'e', 'l', 'l', 'o', '\n'}},
        {"empty.velumen", Bytes{}},
        {"cut.velumen", Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(good.size() / 2))},
    };
    for (const auto& [name, bytes] : bad) {
        SCOPED_TRACE(name);
        const fs::path path = write(name, bytes);
        for (const std::string& args : {"info " + path.string(), "svg " + path.string(),
                                        "upgrade " + path.string() + " " + (dir / "out.velumen").string()}) {
            const ToolRun r = tool(args);
            EXPECT_EQ(r.status, 1);
            EXPECT_TRUE(r.out.empty());
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
            EXPECT_NE(r.err.find("not a readable book"), std::string::npos) << r.err;
        }
        EXPECT_FALSE(fs::exists(dir / "out.velumen"));
    }
    EXPECT_EQ(tool("info " + (dir / "absent.velumen").string()).status, 1);
    EXPECT_EQ(tool("frobnicate").status, 2);
}

TEST_F(VelumenTool, AHostileBookIsRefusedOnOneLineOfVisibleText) {
    // The root's class name and the file's name carry a line break, a colour sequence and an 8-bit CSI.
    struct Thing {};
    KeyedArchiver archiver;
    const auto bytes = archiver.archivedDataWithRootObject(Thing{},
                                                           {"Evil\n\x1b[31mClass\u009b2J",
                                                            "NSObject"},
                                                           [](const Thing&, KeyedEncoder&) {});
    ASSERT_TRUE(bytes);
    const fs::path path = write("hostile\n\x1b]0;title\x07.velumen", *bytes);
    const std::string out = (dir / "out.velumen").string();
    for (const std::string& args :
         {"info " + shellQuoted(path.string()), "info " + shellQuoted(path.string()) + " --json",
          "svg " + shellQuoted(path.string()), "upgrade " + shellQuoted(path.string()) + " " + out}) {
        SCOPED_TRACE(args);
        const ToolRun r = tool(args);
        EXPECT_EQ(r.status, 1);
        EXPECT_TRUE(r.out.empty());
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_FALSE(holdsRawControls(r.err)) << r.err;
        EXPECT_NE(r.err.find("hostile\\n\\x1b]0;title\\x07.velumen: not a readable book "
                             "(an object of the unexpected class Evil\\n\\x1b[31mClass\\u{9b}2J)"),
                  std::string::npos)
            << r.err;
    }
    EXPECT_FALSE(fs::exists(out));
}

TEST_F(VelumenTool, ASaveRefusedBySizeNamesTheSystemsReasonAndLeavesTheOldBook) {
    const Bytes book = archivedDataWithRootObject(*sampleBook(), &codec);
    const fs::path in = write("in.velumen", book);
    auto older = std::make_shared<FoliantData>();
    older->pages().push_back(FoliantData::createNewPage());
    const Bytes olderBytes = archivedDataWithRootObject(*older, &codec);
    const fs::path out = write("out.velumen", olderBytes);
    std::string script;
    for (int i = 0; i < 20; ++i)
        script += "{\"time\":" + std::to_string(i) + "e-2,\"phase\":\"" +
                  (i == 0    ? "began"
                   : i == 19 ? "ended"
                             : "moved") +
                  "\",\"id\":1,\"x\":" + std::to_string(100 + 5 * i) +
                  ",\"y\":200,\"type\":\"finger\",\"view\":[600,750]}\n";
    std::ofstream(dir / "script.jsonl", std::ios::binary) << script;
    const std::vector<std::string> before = folderNames();
    const std::string reason = std::strerror(EFBIG);
    ASSERT_LT(olderBytes.size(), book.size());

    struct Case {
        const char* name;
        std::string args;
        const fs::path& target;
        const Bytes& old;
    };
    const Case cases[] = {
        {"upgrade", "upgrade " + in.string() + " " + out.string(), out, olderBytes},
        {"replay", "replay " + (dir / "script.jsonl").string() + " " + in.string(), in, book},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        // Room for less than the book the command writes.
        const ToolRun r = tool(c.args, static_cast<rlim_t>(c.old.size() / 2));
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_NE(r.err.find(c.target.string() + ": cannot be written (" + reason + ")"), std::string::npos)
            << r.err;
        const std::string after = slurp(c.target);
        EXPECT_TRUE(Bytes(after.begin(), after.end()) == c.old);
        EXPECT_EQ(folderNames(), before);
    }
    // Without the limit both go through.
    EXPECT_EQ(tool("upgrade " + in.string() + " " + out.string()).status, 0);
    EXPECT_NE(slurp(out).size(), olderBytes.size());
}

}  // namespace
}  // namespace velumen
