// The books the notebook ships with: the guide's pages are ink on every page with a preview, the build
// writes the same bytes each time, and what the build installed is that book.
#include <gtest/gtest.h>

#include <QFile>

#include "document/FoliantData.h"
#include "gallery/FoliantGallery.h"
#include "gallery/guide/GuideBooks.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen {
namespace {

QByteArray bytesOf(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

TEST(GuideBooks, EveryPageIsInkWithAPreviewAndTheBuildWritesTheSameBytesItInstalled) {
    struct Case {
        const char* name;
        std::vector<GuidePage> pages;
        double unit;
    };
    const Case cases[] = {{FoliantGallery::kQuickStartGuide, quickStartGuidePages(), 2.6},
                          {FoliantGallery::kReleaseNote, releaseNotePages(), 2.75}};
    const QtImageCodec codec;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string error;
        const FoliantDataPtr book = makeGuideBook(c.pages, c.unit, error);
        ASSERT_TRUE(book) << error;
        ASSERT_EQ(book->pages().size(), c.pages.size());
        for (const FoliantPagePtr& page : book->pages()) {
            ASSERT_TRUE(page->pointSets);
            EXPECT_GE(page->pointSets->count(), 1u);
        }
        ASSERT_TRUE(book->thumbnail());
        EXPECT_FALSE(book->thumbnail()->isEmpty());
        std::string again;
        const FoliantDataPtr twin = makeGuideBook(c.pages, c.unit, again);
        ASSERT_TRUE(twin);
        const std::vector<std::uint8_t> bytes = archivedDataWithRootObject(*book, &codec);
        EXPECT_EQ(bytes, archivedDataWithRootObject(*twin, &codec));
        const QByteArray installed = bytesOf(QStringLiteral(VELUMEN_BOOKS_DIR "/") + c.name);
        EXPECT_EQ(installed,
                  QByteArray(reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size())));
    }
}

TEST(GuideBooks, TheLetteringKeepsEveryLineOnThePage) {
    for (const auto& pages : {quickStartGuidePages(), releaseNotePages()}) {
        for (const GuidePage& page : pages) {
            for (const QString& line : page.lines) {
                for (const auto& stroke : letterStrokes(line, {48, 0}, 2.75))
                    for (const Point& p : stroke)
                        EXPECT_LE(p.x, 768 - 24) << qPrintable(line);
            }
            for (const auto& stroke : letterStrokes(page.title, {48, 0}, 5.5))
                for (const Point& p : stroke)
                    EXPECT_LE(p.x, 768 - 24) << qPrintable(page.title);
        }
    }
}

}  // namespace
}  // namespace velumen
