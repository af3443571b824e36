// The notebook's gallery: books with the "velumen" extension in the books folder, new books from the
// template "New Page.velumen", the preview of a book by the partial read, the guide books installed at first
// start (and the release note on an update), and the arrangement kept in the defaults store.
#pragma once

#include <QSettings>

#include "gallery/KCloudGallery.h"

namespace velumen {

class FoliantGallery : public KCloudGallery {
    Q_OBJECT

  public:
    static constexpr const char* kQuickStartVersion = "quickStartVersion";
    static constexpr const char* kReleaseNoteVersion = "releaseNoteVersion";
    static constexpr const char* kGalleryThumbnailArrangement = "GalleryThumbnailArrangement";
    static constexpr const char* kQuickStartGuide = "QuickStart Guide.velumen";
    static constexpr const char* kQuickStartGuideLarge = "QuickStart Guide 5.velumen";
    static constexpr const char* kReleaseNote = "New in v4.velumen";
    static constexpr const char* kTemplate = "New Page.velumen";

    // `defaults` is the user's defaults store; it outlives the gallery.
    FoliantGallery(Folders folders, QSettings& defaults, QObject* parent = nullptr);

    // The larger guide is for screens with a longer side of at least 568 points on a phone; never on a
    // tablet.
    bool is4InchScreenOrLarger = false;

    std::optional<FileInfoDetails> loadInfoForFile(const QUrl& url) const override;
    void thumbnailArrangementChanged() override;
    // The guide again, from the settings: "QuickStart Guide", else "QuickStart Guide 2", ...; the user's own.
    void copyNewQuickstartGuide() override;

    // Writes the books the notebook ships with (the template and the guides) into `folder`; false when one
    // could not be written.
    static bool writeBundledBooks(const QString& folder);
    // The bytes of a book of one empty page.
    static std::vector<std::uint8_t> onePageBookBytes();

  protected:
    void initializeSettings() override;
    bool copyTemplateTo(const QString& target) override;

  private:
    QString resource(const char* name) const;
    QSettings& defaults_;
};

}  // namespace velumen
