#include "gallery/FoliantGallery.h"

#include <QFileInfo>

#include "document/FoliantData.h"
#include "document/qt/FileQueue.h"
#include "gallery/BookPreview.h"
#include "gallery/KUtils.h"
#include "objects/qt/QtImageCodec.h"

namespace velumen {

FoliantGallery::FoliantGallery(Folders folders, QSettings& defaults, QObject* parent)
    : KCloudGallery(std::move(folders), parent), defaults_(defaults) {}

QString FoliantGallery::resource(const char* name) const {
    return folders_.resources + QLatin1Char('/') + QString::fromUtf8(name);
}

void FoliantGallery::initializeSettings() {
    templateNewFileName = QStringLiteral("New Book");
    templateFileExtension = QStringLiteral("velumen");
    templateNewFileResourceName = QString::fromLatin1(kTemplate);
    documentsPath = folders_.documents;

    const qint64 quickStart = defaults_.value(kQuickStartVersion, 0).toLongLong();
    if (quickStart < 100) {
        // First launch: the guide, replacing any file of its name.
        const QString target = documentsPath + QLatin1Char('/') + QString::fromLatin1(kQuickStartGuide);
        const bool cleared = !KUtils::entryExists(target) || KUtils::removeFile(target);
        if (cleared) {
            const QString source = resource(is4InchScreenOrLarger ? kQuickStartGuideLarge : kQuickStartGuide);
            if (KUtils::copyAndTouchFileFrom(source, target)) KUtils::setSkipBackupAttribute(true, QUrl::fromLocalFile(target));
        }
        defaults_.setValue(kQuickStartVersion, 100);
    }
    const qint64 releaseNote = defaults_.value(kReleaseNoteVersion, 0).toLongLong();
    const QString note = documentsPath + QLatin1Char('/') + QString::fromLatin1(kReleaseNote);
    if (quickStart >= 100 && releaseNote < 400 && !KUtils::entryExists(note)) {
        if (KUtils::copyAndTouchFileFrom(resource(kReleaseNote), note))
            KUtils::setSkipBackupAttribute(true, QUrl::fromLocalFile(note));
    }
    defaults_.setValue(kReleaseNoteVersion, 400);
    thumbnailArrangement = defaults_.value(kGalleryThumbnailArrangement, 0).toLongLong() != 0 ? 1 : 0;
    defaults_.sync();
}

void FoliantGallery::thumbnailArrangementChanged() {
    defaults_.setValue(kGalleryThumbnailArrangement, thumbnailArrangement);
    defaults_.sync();
}

void FoliantGallery::copyNewQuickstartGuide() {
    const QString base = QStringLiteral("QuickStart Guide");
    const QString target = KUtils::getUniqueSerialFilePathInDirectory(documentsPath, base, templateFileExtension);
    const QString source = resource(is4InchScreenOrLarger ? kQuickStartGuideLarge : kQuickStartGuide);
    if (KUtils::copyAndTouchFileFrom(source, target)) fileWasAdded(QUrl::fromLocalFile(target));
}

std::optional<KCloudGallery::FileInfoDetails> FoliantGallery::loadInfoForFile(const QUrl& url) const {
    const std::optional<BookPreview> preview = readBookPreview(url.toLocalFile());
    if (!preview) return std::nullopt;
    FileInfoDetails details;
    details.thumbnail = preview->thumbnail;
    details.pageCount = 1;  // the partial read never counts the pages
    details.pageNum = preview->pageNum;
    return details;
}

bool FoliantGallery::copyTemplateTo(const QString& target) {
    if (QFileInfo::exists(folders_.resources + QLatin1Char('/') + templateNewFileResourceName))
        return KCloudGallery::copyTemplateTo(target);
    // No bundled template (a build without its resources): the same book made here.
    const QString temporary = KUtils::getTemporaryFilePath();
    QString error;
    if (!writeFileAtomically(temporary, onePageBookBytes(), error)) return false;
    const bool ok = KUtils::copyAndTouchFileFrom(temporary, target);
    KUtils::removeFile(temporary);
    return ok;
}

std::vector<std::uint8_t> FoliantGallery::onePageBookBytes() {
    FoliantData book;
    book.pages().push_back(FoliantData::createNewPage());
    book.setPageNum(0);
    const QtImageCodec codec;
    return archivedDataWithRootObject(book, &codec);
}

bool FoliantGallery::writeBundledBooks(const QString& folder) {
    KUtils::ensureDirectoryExists(folder);
    bool ok = true;
    for (const char* name : {kTemplate, kQuickStartGuide, kQuickStartGuideLarge, kReleaseNote}) {
        QString error;
        ok = writeFileAtomically(folder + QLatin1Char('/') + QString::fromLatin1(name), onePageBookBytes(), error) && ok;
    }
    return ok;
}

}  // namespace velumen
