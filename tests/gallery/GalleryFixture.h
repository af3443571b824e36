// Shared pieces of the gallery tests: a books folder, a caches folder and the bundled books in a temporary
// folder, books with a preview of a given size, and file dates set by hand.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "document/FoliantData.h"
#include "gallery/FoliantGallery.h"
#include "gallery/KUtils.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen::gallerytest {

// A preview of `width` x `height` pixels in one colour per `seed`.
inline KImagePtr previewImage(int width, int height, std::uint32_t seed = 1) {
    auto image = std::make_shared<KImage>();
    image->width = width;
    image->height = height;
    image->pixels.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height),
                         0xFF000000u | (seed * 0x2F4F7Fu & 0xFFFFFFu));
    return image;
}

// The bytes of a one-page book, with a preview when `preview` is set.
inline std::vector<std::uint8_t> bookBytes(KImagePtr preview = {}) {
    FoliantData book;
    book.pages().push_back(FoliantData::createNewPage());
    book.setPageNum(0);
    if (preview) book.setThumbnail(preview);
    const QtImageCodec codec;
    return archivedDataWithRootObject(book, &codec);
}

inline void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size());
}

inline void writeFile(const QString& path, const std::vector<std::uint8_t>& bytes) {
    writeFile(path, QByteArray(reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size())));
}

inline QByteArray readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return file.readAll();
}

// Sets the modification time to `seconds` (and `nanoseconds`) since the epoch.
inline void setModificationTime(const QString& path, long seconds, long nanoseconds = 0) {
    const timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
}

// Names of the entries of a folder, sorted.
inline QStringList entries(const QString& folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

class GalleryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(root.isValid());
        documents = root.filePath("Books");
        caches = root.filePath("Caches");
        resources = root.filePath("Resources");
        QDir().mkpath(documents);
        ASSERT_TRUE(FoliantGallery::writeBundledBooks(resources));
        defaults = std::make_unique<QSettings>(root.filePath("defaults.ini"), QSettings::IniFormat);
    }

    // A gallery over the test's folders, loaded; the guide's first-launch copy is skipped unless asked.
    std::unique_ptr<FoliantGallery> makeGallery(bool firstLaunch = false) {
        if (!firstLaunch) {
            defaults->setValue(FoliantGallery::kQuickStartVersion, 100);
            defaults->setValue(FoliantGallery::kReleaseNoteVersion, 400);
        }
        auto gallery = std::make_unique<FoliantGallery>(
            KCloudGallery::Folders{documents, caches, resources}, *defaults);
        gallery->viewDidLoad();
        gallery->updateFileListAndScroll(false, false);
        return gallery;
    }

    QString book(const QString& name) const { return documents + "/" + name; }

    // Names of the listed books, in the list's order.
    static QStringList listed(const KCloudGallery& gallery) {
        QStringList names;
        for (const FileInfo& record : gallery.files) names << record.fileName;
        return names;
    }

    QTemporaryDir root;
    QString documents, caches, resources;
    std::unique_ptr<QSettings> defaults;
};

}  // namespace velumen::gallerytest
