// velumen: the command-line tool for people with many books.
//   velumen info BOOK [--json]     what a book holds
//   velumen svg BOOK [--page N]    a page's ink as SVG (N counts from 1; the current page by default)
//   velumen upgrade IN OUT         read a book of any version, write it as the current version
//   velumen replay SCRIPT BOOK [--screenshot PNG]
//                                  play a touch script into the book's current page (a new one-page book
//                                  when BOOK does not exist) and save it; optionally a picture of the screen
//   velumen import-pdf IN.pdf BOOK  append a page per PDF page, each holding that page as a picture (a new
//                                  book of those pages when BOOK does not exist)
//   velumen thumbnail [-s SIZE] BOOK OUT.png
//                                  the book's preview as PNG, scaled to fit SIZE pixels (256 by default),
//                                  read without loading the book: what file managers show
//   velumen trace IMAGE BOOK [--threshold T] [--target-width W] [--page N] [--mask PNG] [--preview PNG]
//                                  convert a picture of a drawing into ink on page N (from 1; the current page
//                                  by default) of BOOK (a new one-page book when BOOK does not exist), centred
//                                  on the page, and save it; optionally the mask and the preview as pictures
#include <QApplication>
#include <QFile>
#include <QSaveFile>
#include <QSurfaceFormat>
#include <QTemporaryDir>
#include <QtGlobal>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "document/DisplayText.h"
#include "document/FoliantData.h"
#include "document/KeyedArchive.h"
#include "document/MappedFile.h"
#include "export/PdfImport.h"
#include "objects/ImageBudget.h"
#include "gallery/BookPreview.h"
#include "document/PageInkEditor.h"
#include "imagetoink/FLTracegrabber.h"
#include "imagetoink/qt/TracegrabPicture.h"
#include "input/TouchScript.h"
#include "objects/FoliantTextBox.h"
#include "objects/qt/QtImageCodec.h"
#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"
#include "shell/TouchReplay.h"

namespace {

using namespace velumen;

constexpr int kUsageStatus = 2;

int usage() {
    std::fputs(
        "usage: velumen info BOOK [--json]\n"
        "       velumen svg BOOK [--page N]\n"
        "       velumen upgrade IN OUT\n"
        "       velumen replay SCRIPT BOOK [--screenshot PNG]\n"
        "       velumen import-pdf IN.pdf BOOK\n"
        "       velumen thumbnail [-s SIZE] BOOK OUT.png\n"
        "       velumen trace IMAGE BOOK [--threshold T] [--target-width W] [--page N] [--mask PNG]\n"
        "                     [--preview PNG]\n",
        stderr);
    return kUsageStatus;
}

// One line on standard error. Names of classes, script lines and paths come from files or their names: a
// control character in them is printed as a visible escape, never as itself.
int failure(const std::string& line) {
    std::fprintf(stderr, "velumen: %s\n", escapedForDisplay(line).c_str());
    return 1;
}

// Every number as the shortest text that reads back to the same value of its type.
template <class T>
std::string number(T value) {
    if constexpr (std::is_floating_point_v<T>) {
        if (!std::isfinite(value)) return "null";
    }
    char buffer[40];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, ec == std::errc() ? end : buffer);
}

struct LoadedBook {
    std::optional<MappedFile> file;
    FoliantDataPtr book;
};

// The book in `path`, or a line for standard error saying why there is none.
std::optional<LoadedBook> load(const std::string& path, const ImageCodec& codec, std::string& why) {
    std::string error;
    LoadedBook loaded;
    loaded.file = MappedFile::open(path, &error);
    if (!loaded.file) {
        why = path + ": " + error;
        return std::nullopt;
    }
    try {
        loaded.book = unarchiveFoliantData(loaded.file->bytes(), &codec);
    } catch (const ArchiveError& e) {
        why = path + ": not a readable book (" + e.what() + ")";
        return std::nullopt;
    }
    if (!loaded.book) {
        why = path + ": not a readable book (it holds no book)";
        return std::nullopt;
    }
    return loaded;
}

std::string colorJson(const KColor& c) {
    return "[" + number(c.r) + "," + number(c.g) + "," + number(c.b) + "," + number(c.a) + "]";
}

std::string infoJson(const FoliantData& book) {
    std::string out = "{\"version\":" + number(book.version()) + ",\"pageNum\":" + number(book.pageNum()) +
                      ",\"isLocked\":" + (book.isLocked() ? "true" : "false") + ",\"thumbnail\":";
    if (book.thumbnailData()) {
        const KImagePtr& image = book.thumbnail();
        out += "{\"scale\":" + number(book.thumbnailScale()) + ",\"width\":" + number(image ? image->width : 0) +
               ",\"height\":" + number(image ? image->height : 0) + "}";
    } else {
        out += "null";
    }
    out += ",\"masterImages\":" + number(book.masterImages().size()) + ",\"pages\":[";
    bool firstPage = true;
    for (const FoliantPagePtr& page : book.pages()) {
        out += firstPage ? "{" : ",{";
        firstPage = false;
        out += "\"pointSets\":[";
        if (page->pointSets) {
            bool firstRun = true;
            for (const KVSPointSetPtr& run : page->pointSets->pointSets()) {
                out += firstRun ? "" : ",";
                firstRun = false;
                out += "{\"length\":" + number(run->length()) + ",\"color\":" + colorJson(run->color()) + "}";
            }
        }
        out += "],\"panDelta\":[" + number(page->panDelta.x) + "," + number(page->panDelta.y) +
               "],\"zoomFactor\":" + number(page->zoomFactor) + ",\"images\":" + number(page->images.size()) +
               ",\"textBoxes\":" + number(page->textBoxes.size()) + "}";
    }
    out += "]}\n";
    return out;
}

std::string infoText(const FoliantData& book) {
    std::string out;
    out += "version:        " + number(book.version()) + "\n";
    out += "pages:          " + number(book.pages().size()) + "\n";
    out += "current page:   " + number(book.pageNum() + 1) + "\n";
    out += std::string("locked:         ") + (book.isLocked() ? "yes" : "no") + "\n";
    out += "thumbnail:      ";
    if (!book.thumbnailData()) {
        out += "none\n";
    } else if (const KImagePtr& image = book.thumbnail()) {
        out += number(image->width) + " x " + number(image->height) + " pixels, scale " +
               number(book.thumbnailScale()) + "\n";
    } else {
        out += number(book.thumbnailData()->size()) + " bytes that are not a readable picture, scale " +
               number(book.thumbnailScale()) + "\n";
    }
    out += "master images:  " + number(book.masterImages().size()) + "\n";
    std::size_t index = 0;
    for (const FoliantPagePtr& page : book.pages()) {
        const std::size_t runs = page->pointSets ? page->pointSets->count() : 0;
        out += "page " + number(++index) + ": " + number(runs) + " runs, " + number(page->images.size()) +
               " images, " + number(page->textBoxes.size()) + " text boxes, zoom " + number(page->zoomFactor) +
               ", pan (" + number(page->panDelta.x) + ", " + number(page->panDelta.y) + ")\n";
        if (!page->pointSets) continue;
        for (const KVSPointSetPtr& run : page->pointSets->pointSets()) {
            const KColor& c = run->color();
            out += "  " + number(run->length()) + " points, colour #" + c.hexString() + " alpha " + number(c.a) +
                   "\n";
        }
    }
    return out;
}

std::optional<long long> parseIndex(std::string_view text) {
    long long value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// The script through an editor of the script's size, on the book's current page, with the settings' defaults
// and the script's own clock: the same script on the same book gives the same file.
int replay(int argc, char** argv, const std::vector<std::string>& args, const QtImageCodec& codec) {
    if (args.size() != 3 && !(args.size() == 5 && args[3] == "--screenshot")) return usage();
    const QString scriptPath = QString::fromStdString(args[1]);
    const QString bookPath = QString::fromStdString(args[2]);
    const QString screenshotPath = args.size() == 5 ? QString::fromStdString(args[4]) : QString();
    QFile scriptFile(scriptPath);
    if (!scriptFile.open(QIODevice::ReadOnly)) return failure(args[1] + ": cannot be read");
    std::string why;
    const std::optional<TouchScript> script = parseTouchScript(scriptFile.readAll(), why);
    if (!script) {
        std::fprintf(stderr, "%s\n", escapedForDisplay(why).c_str());
        return 1;
    }
    FoliantDataPtr book = readBook(bookPath, codec, why);
    if (!book) return failure(why);

    // Without any display the ink is still made; only the picture needs a GL surface.
    if (!qEnvironmentVariableIsSet("DISPLAY") && !qEnvironmentVariableIsSet("WAYLAND_DISPLAY") &&
        !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QSurfaceFormat::setDefaultFormat(EAGLViewController::surfaceFormat());
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    QTemporaryDir settingsDir;
    if (!settingsDir.isValid()) return failure("no temporary folder for the settings");
    FoliantGlobals globals(openDefaultsStore(settingsDir.filePath("defaults.plist")), 0.0);
    ManualClock clock(script->events.empty() ? 0.0 : script->events.front().time);
    FoliantViewController editor(globals, clock);
    if (!screenshotPath.isEmpty() && !editor.hasSurface())
        return failure("no OpenGL context could be made: no screenshot without a display");
    const Size size = script->firstViewSize().value_or(Size{768, 1024});
    editor.layoutForSize(size);
    editor.openBook(book);
    replayTouchScript(editor, clock, *script);
    // A touch the script leaves down ends where it is.
    if (editor.view().router.touchesDown() > 0) editor.session().sampler.cancelCurrentLine();

    if (!screenshotPath.isEmpty()) {
        const QImage screen = editor.screenImage();
        if (screen.isNull() || !screen.save(screenshotPath, "PNG"))
            return failure(args[4] + ": the screenshot cannot be written");
    }
    if (!writeBook(*book, bookPath, codec, why)) return failure(why);
    return 0;
}

// The preview stored in the book, by the partial read only: the pages are never decoded, so a book of any
// size costs the same. Written as PNG whatever the output's name says.
int thumbnail(const std::vector<std::string>& args) {
    long long size = 256;
    std::size_t next = 1;
    if (args.size() == 5 && args[1] == "-s") {
        const std::optional<long long> asked = parseIndex(args[2]);
        if (!asked || *asked < 1 || *asked > 8192) return usage();
        size = *asked;
        next = 3;
    } else if (args.size() != 3) {
        return usage();
    }
    const std::string& bookPath = args[next];
    const std::string& outPath = args[next + 1];
    const std::optional<BookPreview> preview = readBookPreview(QString::fromStdString(bookPath));
    if (!preview) return failure(bookPath + ": no readable preview (not a book, or a book without one)");
    QImage image = scaledToFit(preview->thumbnail, static_cast<int>(size));
    image.setDevicePixelRatio(1.0);
    QSaveFile out(QString::fromStdString(outPath));
    if (!out.open(QIODevice::WriteOnly) || !image.save(&out, "PNG") || !out.commit())
        return failure(outPath + ": cannot be written");
    return 0;
}

// The defaults of `trace`: the threshold of the conversion from the camera, and the width that ink from the
// camera has on a tablet at zoom 1 (half of 1024).
constexpr int kTraceThreshold = 118;
constexpr float kTraceTargetWidth = 512.0f;
// A command has no touch point: the ink goes to the middle of the page.
constexpr Point kTraceCentre{768, 960};

bool savePicture(const RgbaImage& image, const std::string& path) {
    const QImage picture = qImageFromRgbaImage(image);
    return !picture.isNull() && picture.save(QString::fromStdString(path), "PNG");
}

// The picture through the conversion into ink, at the threshold and target width, onto the page, as one
// edit; the book is written only when ink came out.
int trace(const std::vector<std::string>& args, const QtImageCodec& codec) {
    if (args.size() < 3 || args.size() % 2 == 0) return usage();
    const std::string& imagePath = args[1];
    const std::string& bookPath = args[2];
    long long threshold = kTraceThreshold;
    float targetWidth = kTraceTargetWidth;
    std::optional<long long> pageAsked;
    std::string maskPath, previewPath;
    for (std::size_t i = 3; i + 1 < args.size(); i += 2) {
        const std::string& option = args[i];
        const std::string& value = args[i + 1];
        if (option == "--threshold") {
            const std::optional<long long> t = parseIndex(value);
            if (!t || *t < 0 || *t > 255) return failure("--threshold " + value + ": not a whole number from 0 to 255");
            threshold = *t;
        } else if (option == "--target-width") {
            float w = 0;
            const auto [end, ec] = std::from_chars(value.data(), value.data() + value.size(), w);
            if (ec != std::errc() || end != value.data() + value.size() || !std::isfinite(w) || w <= 0)
                return failure("--target-width " + value + ": not a positive number");
            targetWidth = w;
        } else if (option == "--page") {
            pageAsked = parseIndex(value);
            if (!pageAsked) return failure("--page " + value + ": not a page number");
        } else if (option == "--mask") {
            maskPath = value;
        } else if (option == "--preview") {
            previewPath = value;
        } else {
            return usage();
        }
    }

    std::string why;
    std::optional<RgbaImage> picture =
        readTracegrabPicture(QString::fromStdString(imagePath), tracegrabSizeLimit(totalMemory(), false), why);
    if (!picture) return failure(imagePath + ": " + why);
    FoliantDataPtr book = readBook(QString::fromStdString(bookPath), codec, why);
    if (!book) return failure(why);
    const long long page = pageAsked.value_or(static_cast<long long>(book->pageNum()) + 1);
    if (page < 1 || static_cast<unsigned long long>(page) > book->pages().size())
        return failure(bookPath + ": no page " + number(page) + " (the book has " + number(book->pages().size()) +
                       ")");

    FLTracegrabber grabber;
    grabber.setTargetWidth(targetWidth);
    const int width = picture->width, height = picture->height;
    grabber.setImage(std::move(*picture));
    const auto threshold8 = static_cast<std::uint8_t>(threshold);
    if (!maskPath.empty()) {
        RgbaImage mask(width, height);
        mask.bytes = grabber.maskImageData();
        if (!savePicture(mask, maskPath)) return failure(maskPath + ": the mask cannot be written");
    }
    if (!previewPath.empty()) {
        const std::optional<RgbaImage> preview = grabber.previewImageWithThreshold(threshold8);
        if (!preview || !savePicture(*preview, previewPath))
            return failure(previewPath + ": the preview cannot be written");
    }
    const KVSPointSetArrayPtr runs = grabber.pointSetsWithThreshold(threshold8);
    std::uint64_t points = 0;
    if (runs) {
        for (const KVSPointSetPtr& run : runs->pointSets())
            points += run->length();
    }
    if (!runs || runs->count() == 0) {
        std::printf("%s: no ink at threshold %s: nothing in the picture is darker than its surroundings; %s is "
                    "unchanged\n",
                    escapedForDisplay(imagePath).c_str(), number(threshold).c_str(),
                    escapedForDisplay(bookPath).c_str());
        return 0;
    }
    PageInkEditor editor;
    editor.setCurrentPage(book->pages()[static_cast<std::size_t>(page - 1)]);
    editor.addPointSetsCentredAt(runs, kTraceCentre);
    if (!writeBook(*book, QString::fromStdString(bookPath), codec, why)) return failure(why);
    std::printf("page %s: %s runs of %s points added\n", number(page).c_str(), number(runs->count()).c_str(),
                number(points).c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    // A preview that does not decode is reported by the tool itself; the image readers stay quiet.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    // A write past a file-size limit fails with its reason (and the old book stays) instead of killing the
    // tool halfway through a save.
    std::signal(SIGXFSZ, SIG_IGN);
    const std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) return usage();
    const std::string& command = args[0];
    const QtImageCodec codec;
    std::string why;
    if (command == "replay") return replay(argc, argv, args, codec);
    if (command == "thumbnail") return thumbnail(args);
    if (command == "trace") return trace(args, codec);

    if (command == "info") {
        if (args.size() < 2 || args.size() > 3 || (args.size() == 3 && args[2] != "--json")) return usage();
        const std::optional<LoadedBook> loaded = load(args[1], codec, why);
        if (!loaded) return failure(why);
        const std::string out = args.size() == 3 ? infoJson(*loaded->book) : infoText(*loaded->book);
        std::fwrite(out.data(), 1, out.size(), stdout);
        return 0;
    }
    if (command == "svg") {
        if (args.size() != 2 && !(args.size() == 4 && args[2] == "--page")) return usage();
        const std::optional<LoadedBook> loaded = load(args[1], codec, why);
        if (!loaded) return failure(why);
        const FoliantData& book = *loaded->book;
        long long page = book.pageNum() + 1;
        if (args.size() == 4) {
            const std::optional<long long> asked = parseIndex(args[3]);
            if (!asked) return usage();
            page = *asked;
        }
        if (page < 1 || static_cast<unsigned long long>(page) > book.pages().size())
            return failure(args[1] + ": no page " + number(page) + " (the book has " + number(book.pages().size()) +
                           ")");
        const FoliantPagePtr& chosen = book.pages()[static_cast<std::size_t>(page - 1)];
        const std::string svg = chosen->pointSets ? chosen->pointSets->svgRepresentation()
                                                  : KVSPointSetArray().svgRepresentation();
        std::fwrite(svg.data(), 1, svg.size(), stdout);
        return 0;
    }
    if (command == "import-pdf") {
        if (args.size() != 3) return usage();
        const QString bookPath = QString::fromStdString(args[2]);
        const bool isNew = !QFile::exists(bookPath);
        FoliantDataPtr book = readBook(bookPath, codec, why);
        if (!book) return failure(why);
        // A new book holds the PDF's pages alone.
        if (isNew) book->pages().clear();
        const int side = ImageBudget::insertionLimit(currentMemoryFigures());
        const PdfImportResult result = importPdfPages(QString::fromStdString(args[1]), *book, codec, side);
        if (result.pagesAdded == 0) return failure(args[1] + ": " + result.error);
        if (isNew) book->setPageNum(0);
        if (!writeBook(*book, bookPath, codec, why)) return failure(why);
        std::printf("%d pages added\n", result.pagesAdded);
        return 0;
    }
    if (command == "upgrade") {
        if (args.size() != 3) return usage();
        const std::optional<LoadedBook> loaded = load(args[1], codec, why);
        if (!loaded) return failure(why);
        if (!writeBook(*loaded->book, QString::fromStdString(args[2]), codec, why)) return failure(why);
        return 0;
    }
    return usage();
}
