// The application's store of user preferences and fixed look-and-feel tables: the pen tables the stroke
// engine reads, the colour palette, selection colours and text defaults. It loads from the defaults store
// when made and writes back on demand. Nothing here travels with a book.
#pragma once

#include <QSettings>
#include <QString>
#include <QVariant>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ink/KColor.h"
#include "ink/KGeometry.h"
#include "ink/Pens.h"
#include "objects/FLTextSettings.h"

namespace velumen {

// The defaults store with values registered at start: a key that holds nothing reads as its registered
// value. Owners of single keys read and write through it.
class UserDefaults {
  public:
    explicit UserDefaults(std::unique_ptr<QSettings> store);

    void registerDefaults(const QVariantMap& values);
    // The stored value, else the registered one, else an invalid variant.
    QVariant objectForKey(const QString& key) const;
    bool hasStoredValue(const QString& key) const { return store_->contains(key); }
    // Numbers, booleans and numeric text; anything else reads as false or 0.
    bool boolForKey(const QString& key) const;
    std::int64_t integerForKey(const QString& key) const;
    double doubleForKey(const QString& key) const;
    std::optional<QString> stringForKey(const QString& key) const;
    void setObject(const QString& key, const QVariant& value) { store_->setValue(key, value); }
    void removeObject(const QString& key) { store_->remove(key); }
    // Forces the store to disk; false when it could not be written.
    bool synchronize();

    QSettings& store() { return *store_; }

  private:
    std::unique_ptr<QSettings> store_;
    QVariantMap registered_;
};

class FoliantGlobals {
  public:
    // The keys of the defaults store.
    static constexpr const char* kIsPenPalettePinned = "isPenPalettePinned";
    static constexpr const char* kIsErasingSelectedColor = "isErasingSelectedColor";
    static constexpr const char* kShownColorPaletteScrollHint = "shownColorPaletteScrollHint";
    static constexpr const char* kDisablePalmRejection = "disablePalmRejection";
    static constexpr const char* kOnlyDrawWithStylus = "onlyDrawWithStylus";
    static constexpr const char* kDisableScreenPanning = "disableScreenPanning";
    static constexpr const char* kRecentFontSize = "recentFontSize";
    static constexpr const char* kPenColors = "penColors";
    static constexpr const char* kPenWidths = "penWidths";
    static constexpr const char* kCurrentPenColors = "currentPenColors";
    static constexpr const char* kPenSettings = "penSettings";
    static constexpr const char* kRecentFontFamilies = "recentFontFamilies";
    static constexpr const char* kRecentFontName = "recentFontName";
    static constexpr const char* kDefaultTextSettings = "defaultTextSettings";
    static constexpr const char* kColorPalettePage = "colorPalettePage";
    static constexpr const char* kInstallDate = "installDate";
    static constexpr const char* kPleaseRateVersion = "pleaseRateVersion";
    static constexpr const char* kLastRateTime = "lastRateTime";
    static constexpr const char* kPromotionVersion = "promotionVersion";
    // Keys owned by other parts of the program, kept in the same store.
    static constexpr const char* kShouldSendHighResPdf = "shouldSendHighResPdf";
    static constexpr const char* kDontAdjustInsertedImages = "dontAdjustInsertedImages";
    static constexpr const char* kShouldHideWristGuard = "shouldHideWristGuard";
    static constexpr const char* kActiveFileName = "activeFileName";
    static constexpr const char* kGalleryThumbnailArrangement = "GalleryThumbnailArrangement";
    static constexpr const char* kQuickStartVersion = "quickStartVersion";
    static constexpr const char* kReleaseNoteVersion = "releaseNoteVersion";
    static constexpr const char* kLastWhatsNewDialogShown = "lastWhatsNewDialogShown";
    static constexpr const char* kRunTime = "rtx";
    static constexpr const char* kRtt = "rtt";
    static constexpr const char* kWebDialogRtx = "webDialogRtx";
    static constexpr const char* kPrrt = "prrt";
    static constexpr const char* kTwitterDefaultText = "twitterDefaultText";
    static constexpr const char* kUserPreferences = "FL.User.Preferences";
    static constexpr const char* kInstallTime = "FL.InstallTime";
    static constexpr const char* kIsLeftHandedToolbar = "isLeftHandedToolbar";

    static constexpr std::size_t kMaxRecentFontFamilies = 5;
    static constexpr float kDefaultFontSize = 48.0f;
    static constexpr const char* kDefaultFontName = "Helvetica";

    // Loads from the store (initColors, then loadSettings). `now` is the time used to estimate a missing
    // install date, in seconds since 1 January 2001; by default the clock's.
    explicit FoliantGlobals(std::unique_ptr<QSettings> store, std::optional<double> now = std::nullopt);

    // The process's one instance, on the user's store (see setDefaultsStorePath), made on first use.
    static FoliantGlobals& shared();

    void initColors();
    void loadSettings();
    // Writes every persisted field, then forces the store to disk. False when the store could not be written.
    bool saveSettings();

    // Moves or inserts at the front, keeping at most five.
    void addRecentFontFamily(const std::string& family);
    // The colour shown on a swatch for a palette value: alpha below 0.1 times ten, otherwise 1.0.
    static KColor displayColorForColor(const KColor& color);

    UserDefaults& defaults() { return defaults_; }

    // ---- Fixed tables ----
    KColor selectionFillColor;
    KColor selectionStrokeColor;
    KColor polySelectionFillColor;
    KColor polySelectionStrokeColor;
    KColor selectedTextBoxBorderColor;
    std::vector<KColor> noteColors;
    std::vector<std::string> noteFontIcons;
    std::vector<KColor> _defaultPenColors;
    std::vector<std::string> penStrokeIcons;

    // ---- Persisted preferences ----
    bool isPenPalettePinned = false;
    bool isErasingSelectedColor = false;
    bool _shownColorPaletteScrollHint = false;
    bool _disablePalmRejection = false;
    bool _onlyDrawWithStylus = false;
    bool _showCategoryLabels = false;
    bool _disableScreenPanning = false;
    float _recentFontSize = kDefaultFontSize;
    std::vector<KColor> penColors;
    // penSettings, penWidths and currentPenColors: the tables the stroke engine reads and edits. Three pen
    // slots at least; a store that holds more keeps them all.
    PenTables penTables;
    std::vector<std::string> _recentFontFamilies;
    std::string _recentFontName = kDefaultFontName;
    FLTextSettingsPtr _defaultTextSettings;
    std::int64_t _colorPalettePage = 0;
    // Seconds since 1 January 2001.
    double _installDate = 0;
    std::int64_t _pleaseRateVersion = 0;
    std::int64_t _lastRateTime = 0;
    std::int64_t _promotionVersion = 0;

    std::vector<PenSettings>& penSettings() { return penTables.penSettings; }
    std::vector<float>& penWidths() { return penTables.penWidths; }
    std::vector<KColor>& currentPenColors() { return penTables.currentPenColors; }
    bool disablePalmRejection() const { return _disablePalmRejection; }
    bool onlyDrawWithStylus() const { return _onlyDrawWithStylus; }
    bool disableScreenPanning() const { return _disableScreenPanning; }

    // Current time in seconds since 1 January 2001.
    static double referenceDateNow();

  private:
    UserDefaults defaults_;
    std::optional<double> now_;
};

// The stored forms of the object values: each is the keyed archive of the value, its "root" the value
// itself, arrays as NSMutableArray. Each read also takes the form of earlier stores, where the value sat in
// a dictionary under "root", and gives nullopt (or null) for bytes that hold no such value; nothing raises.
enum class ArrayKind {
    Any,
    // Only an NSMutableArray: for the keys whose stored value is kept only when it is one.
    MutableOnly,
};
std::vector<std::uint8_t> archiveColors(const std::vector<KColor>& colors);
std::optional<std::vector<KColor>> unarchiveColors(const QByteArray& bytes, ArrayKind kind = ArrayKind::Any);
std::vector<std::uint8_t> archivePenSettings(const std::vector<PenSettings>& pens);
std::optional<std::vector<PenSettings>> unarchivePenSettings(const QByteArray& bytes);
// Numbers as 32-bit reals; a member that is not a finite number, or outside the range of a float, fails the
// whole array.
std::vector<std::uint8_t> archiveFloats(const std::vector<float>& values);
std::optional<std::vector<float>> unarchiveFloats(const QByteArray& bytes, ArrayKind kind = ArrayKind::Any);
std::vector<std::uint8_t> archiveStrings(const std::vector<std::string>& values);
std::optional<std::vector<std::string>> unarchiveStrings(const QByteArray& bytes,
                                                         ArrayKind kind = ArrayKind::Any);
std::vector<std::uint8_t> archiveTextSettings(const FLTextSettings& settings);
FLTextSettingsPtr unarchiveTextSettings(const QByteArray& bytes);

}  // namespace velumen
