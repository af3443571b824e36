#include "shell/BookFile.h"

#include <QFile>

#include "document/KeyedArchive.h"
#include "document/qt/FileQueue.h"

namespace velumen {

FoliantDataPtr newOnePageBook() {
    auto book = std::make_shared<FoliantData>();
    book->pages().push_back(FoliantData::createNewPage());
    book->setPageNum(0);
    return book;
}

FoliantDataPtr readBook(const QString& path, const ImageCodec& codec, std::string& error) {
    QFile file(path);
    if (!file.exists()) return newOnePageBook();
    if (!file.open(QIODevice::ReadOnly)) {
        error = path.toStdString() + ": cannot be opened";
        return nullptr;
    }
    const QByteArray bytes = file.readAll();
    try {
        auto book = unarchiveFoliantData(
            {reinterpret_cast<const std::uint8_t*>(bytes.constData()), std::size_t(bytes.size())}, &codec);
        if (!book) {
            error = path.toStdString() + ": not a readable book (it holds no book)";
            return nullptr;
        }
        if (book->pages().empty()) {
            book->pages().push_back(FoliantData::createNewPage());
            book->setPageNum(0);
        }
        return book;
    } catch (const ArchiveError& e) {
        error = path.toStdString() + ": not a readable book (" + e.what() + ")";
        return nullptr;
    }
}

bool writeBook(FoliantData& book, const QString& path, const ImageCodec& codec, std::string& error) {
    std::vector<std::uint8_t> bytes;
    try {
        bytes = archivedDataWithRootObject(book, &codec);
    } catch (const ArchiveError& e) {
        error = path.toStdString() + ": cannot be written (" + e.what() + ")";
        return false;
    }
    // The notebook's own writer: a full disk or a size limit is reported with the system's reason, and the
    // old file stays as it was.
    QString reason;
    if (!writeFileAtomically(path, bytes, reason)) {
        error = reason.toStdString();
        return false;
    }
    return true;
}

}  // namespace velumen
