// Writes the books the notebook ships with into the folder given: the template of a new book (one empty
// page) and the guides, whose pages are written as ink by touch scripts. The same build writes the same
// bytes.
#include <QCoreApplication>
#include <cstdio>

#include "document/KeyedArchive.h"
#include "document/qt/FileQueue.h"
#include "gallery/FoliantGallery.h"
#include "gallery/KUtils.h"
#include "gallery/guide/GuideBooks.h"
#include "objects/qt/QtImageCodec.h"

int main(int argc, char** argv) {
    using namespace velumen;
    if (argc != 2) {
        std::fputs("usage: velumen_make_books FOLDER\n", stderr);
        return 2;
    }
    QCoreApplication app(argc, argv);
    const QString folder = QString::fromLocal8Bit(argv[1]);
    if (!FoliantGallery::writeBundledBooks(folder)) {
        std::fprintf(stderr, "velumen_make_books: %s: the books cannot be written\n", argv[1]);
        return 1;
    }
    struct Guide {
        const char* name;
        std::vector<GuidePage> pages;
        double unit;
    };
    const Guide guides[] = {
        {FoliantGallery::kQuickStartGuide, quickStartGuidePages(), 2.6},
        {FoliantGallery::kQuickStartGuideLarge, quickStartGuidePages(), 2.75},
        {FoliantGallery::kReleaseNote, releaseNotePages(), 2.75},
    };
    const QtImageCodec codec;
    for (const Guide& guide : guides) {
        std::string error;
        const FoliantDataPtr book = makeGuideBook(guide.pages, guide.unit, error);
        QString written;
        if (!book || !writeFileAtomically(folder + QLatin1Char('/') + QString::fromLatin1(guide.name),
                                          archivedDataWithRootObject(*book, &codec), written)) {
            std::fprintf(stderr, "velumen_make_books: %s: %s%s\n", guide.name, error.c_str(),
                         qPrintable(written));
            return 1;
        }
    }
    return 0;
}
