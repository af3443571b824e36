#include "gallery/UbiquityContainer.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>

#include "gallery/KUtils.h"

namespace velumen {

FolderUbiquityContainer::FolderUbiquityContainer(QString folder) : folder_(std::move(folder)) {
    KUtils::ensureDirectoryExists(folder_);
}

QUrl FolderUbiquityContainer::documentsUrl() const { return QUrl::fromLocalFile(QDir(folder_).absolutePath()); }

std::vector<UbiquitousItem> FolderUbiquityContainer::results() const {
    std::vector<UbiquitousItem> items;
    const auto listed = KUtils::getDateSortedFileList(folder_);
    if (!listed) return items;
    for (const FileInfo& record : *listed) {
        UbiquitousItem item;
        item.url = record.fileUrl;
        item.contentChangeDate = record.lastModDate;
        if (auto it = states_.find(record.path()); it != states_.end()) {
            item.isDownloaded = it->second.downloaded;
            item.isDownloading = it->second.downloading;
            item.percentDownloaded = it->second.percent;
        }
        items.push_back(item);
    }
    return items;
}

std::optional<bool> FolderUbiquityContainer::isUbiquitousItem(const QUrl& url) const {
    if (std::find(unreadable_.begin(), unreadable_.end(), url) != unreadable_.end()) return std::nullopt;
    return QFileInfo(url.toLocalFile()).absolutePath() == QDir(folder_).absolutePath();
}

std::optional<bool> FolderUbiquityContainer::isDownloadedItem(const QUrl& url) const {
    if (std::find(unreadable_.begin(), unreadable_.end(), url) != unreadable_.end()) return std::nullopt;
    const auto it = states_.find(url.toLocalFile());
    return it == states_.end() ? true : it->second.downloaded;
}

bool FolderUbiquityContainer::setUbiquitous(bool, const QUrl& item, const QUrl& destination) {
    return KUtils::moveFileSafely(item.toLocalFile(), destination.toLocalFile());
}

bool FolderUbiquityContainer::startDownloading(const QUrl& url) {
    downloads_.push_back(url);
    State& state = states_[url.toLocalFile()];
    state.downloading = true;
    return true;
}

void FolderUbiquityContainer::setItemState(const QUrl& url, bool downloaded, bool downloading,
                                           std::optional<double> percent) {
    states_[url.toLocalFile()] = State{downloaded, downloading, percent};
}

}  // namespace velumen
