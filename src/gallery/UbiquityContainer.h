// The ubiquitous store's container, as the gallery needs it: a listing with download states, the attribute
// reads, moving a book in, and starting a download. The notebook keeps the store switched off; the
// folder-backed stand-in lets tests switch it on.
#pragma once

#include <QString>
#include <QUrl>
#include <map>
#include <optional>
#include <vector>

#include "gallery/FileInfo.h"

namespace velumen {

// One result of the container's listing.
struct UbiquitousItem {
    QUrl url;
    FileTime contentChangeDate = 0;
    bool isDownloaded = true;
    bool isDownloading = false;
    std::optional<double> percentDownloaded;
};

class UbiquityContainer {
  public:
    virtual ~UbiquityContainer() = default;
    // The container's "Documents" folder.
    virtual QUrl documentsUrl() const = 0;
    // The listing, in the container's order.
    virtual std::vector<UbiquitousItem> results() const = 0;
    // The listing holds still between these two.
    virtual void disableUpdates() = 0;
    virtual void enableUpdates() = 0;
    // Whether the item is in the store; nullopt when the attribute cannot be read.
    virtual std::optional<bool> isUbiquitousItem(const QUrl& url) const = 0;
    // Whether a local copy is there; nullopt when the attribute cannot be read.
    virtual std::optional<bool> isDownloadedItem(const QUrl& url) const = 0;
    // Moves the book at `item` into the store at `destination` (or back out); false on failure.
    virtual bool setUbiquitous(bool ubiquitous, const QUrl& item, const QUrl& destination) = 0;
    virtual bool startDownloading(const QUrl& url) = 0;
};

// A plain folder standing in for the container: every file in it is an item, downloaded unless a test says
// otherwise through setItemState; attributes of a URL marked unreadable fail to read.
class FolderUbiquityContainer final : public UbiquityContainer {
  public:
    explicit FolderUbiquityContainer(QString folder);

    QUrl documentsUrl() const override;
    std::vector<UbiquitousItem> results() const override;
    void disableUpdates() override { ++disabled_; }
    void enableUpdates() override { --disabled_; }
    std::optional<bool> isUbiquitousItem(const QUrl& url) const override;
    std::optional<bool> isDownloadedItem(const QUrl& url) const override;
    bool setUbiquitous(bool ubiquitous, const QUrl& item, const QUrl& destination) override;
    bool startDownloading(const QUrl& url) override;

    void setItemState(const QUrl& url, bool downloaded, bool downloading, std::optional<double> percent);
    void setAttributesUnreadable(const QUrl& url) { unreadable_.push_back(url); }
    bool updatesDisabled() const { return disabled_ > 0; }
    const std::vector<QUrl>& downloadsStarted() const { return downloads_; }

  private:
    struct State {
        bool downloaded = true;
        bool downloading = false;
        std::optional<double> percent;
    };
    QString folder_;
    std::map<QString, State> states_;
    std::vector<QUrl> unreadable_;
    std::vector<QUrl> downloads_;
    int disabled_ = 0;
};

}  // namespace velumen
