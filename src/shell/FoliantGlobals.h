// The application's store of user preferences and fixed look-and-feel tables: the pen tables the stroke
// engine reads, the colour palette, selection colours and text defaults. It loads from the defaults store
// when made and writes back on demand. Nothing here travels with a book.
#pragma once

#include <QObject>
#include <QSettings>
#include <QString>
#include <QVariant>
#include <array>
#include <cstdint>
#include <functional>
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

// The user's preferences and the fixed look-and-feel tables. Each persisted preference is a private field
// with a getter named after it and a setter that announces a real change through `changed`; one table in
// the source file lists every stored key with its default, reader and writer.
class FoliantGlobals : public QObject {
    Q_OBJECT

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

    // Registers the defaults of the keys and loads from the store (initColors, then loadSettings). `now` is
    // the time used to estimate a missing install date, in seconds since 1 January 2001; by default the
    // clock's.
    explicit FoliantGlobals(std::unique_ptr<QSettings> store, std::optional<double> now = std::nullopt);

    // The process's one instance, on the user's store (see setDefaultsStorePath), made on first use.
    static FoliantGlobals& shared();

    void initColors();
    // Reads every persisted preference from the store; a missing or unreadable value gives that key's
    // default and disturbs no other. Announces nothing, then calls didLoadSettings.
    void loadSettings();
    // Called at the end of every loadSettings (the remote settings document starts loading there); set it
    // before the first instance is made.
    static inline std::function<void(FoliantGlobals&)> didLoadSettings;
    // Writes every persisted preference, then forces the store to disk. False when the store could not be
    // written.
    bool saveSettings();

    // Moves or inserts at the front, keeping at most five; announces a change of the list.
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
    // Each setter emits `changed` with the store key when the value differs from the one held, and only
    // then.
    bool isPenPalettePinned() const { return isPenPalettePinned_; }
    void setIsPenPalettePinned(bool value);
    // The eraser removes only ink of the current colour.
    bool isErasingSelectedColor() const { return isErasingSelectedColor_; }
    void setIsErasingSelectedColor(bool value);
    bool shownColorPaletteScrollHint() const { return shownColorPaletteScrollHint_; }
    void setShownColorPaletteScrollHint(bool value);
    bool disablePalmRejection() const { return disablePalmRejection_; }
    void setDisablePalmRejection(bool value);
    bool onlyDrawWithStylus() const { return onlyDrawWithStylus_; }
    void setOnlyDrawWithStylus(bool value);
    bool disableScreenPanning() const { return disableScreenPanning_; }
    void setDisableScreenPanning(bool value);
    float recentFontSize() const { return recentFontSize_; }
    void setRecentFontSize(float value);
    // The live palette: the factory palette at first, entries edited by the user, an older shorter one
    // completed from the factory's tail.
    const std::vector<KColor>& penColors() const { return penColors_; }
    void setPenColors(std::vector<KColor> value);
    // The tables the stroke engine reads and edits in place: penSettings, penWidths and currentPenColors.
    // Three pen slots at least; a store that holds more keeps them all. Edits through these references are
    // stored by saveSettings but not announced; the setters below announce.
    PenTables& penTables() { return penTables_; }
    const PenTables& penTables() const { return penTables_; }
    std::vector<PenSettings>& penSettings() { return penTables_.penSettings; }
    const std::vector<PenSettings>& penSettings() const { return penTables_.penSettings; }
    void setPenSettings(std::vector<PenSettings> value);
    std::vector<float>& penWidths() { return penTables_.penWidths; }
    const std::vector<float>& penWidths() const { return penTables_.penWidths; }
    void setPenWidths(std::vector<float> value);
    std::vector<KColor>& currentPenColors() { return penTables_.currentPenColors; }
    const std::vector<KColor>& currentPenColors() const { return penTables_.currentPenColors; }
    void setCurrentPenColors(std::vector<KColor> value);
    // Most recent first, at most five by addRecentFontFamily.
    const std::vector<std::string>& recentFontFamilies() const { return recentFontFamilies_; }
    void setRecentFontFamilies(std::vector<std::string> value);
    const std::string& recentFontName() const { return recentFontName_; }
    void setRecentFontName(std::string value);
    // The style new text boxes start with.
    const FLTextSettings& defaultTextSettings() const { return defaultTextSettings_; }
    void setDefaultTextSettings(const FLTextSettings& value);
    std::int64_t colorPalettePage() const { return colorPalettePage_; }
    void setColorPalettePage(std::int64_t value);
    // Seconds since 1 January 2001.
    double installDate() const { return installDate_; }
    void setInstallDate(double value);
    std::int64_t pleaseRateVersion() const { return pleaseRateVersion_; }
    void setPleaseRateVersion(std::int64_t value);
    std::int64_t lastRateTime() const { return lastRateTime_; }
    void setLastRateTime(std::int64_t value);
    std::int64_t promotionVersion() const { return promotionVersion_; }
    void setPromotionVersion(std::int64_t value);

    // Current time in seconds since 1 January 2001.
    static double referenceDateNow();

  signals:
    // A persisted preference took a new value through its setter; `key` is its key in the store.
    void changed(const QString& key);

  private:
    // One row of the table of stored keys; defined with the table.
    struct Setting;
    // Every key with a default, in the order they are loaded and saved: the persisted preferences, then the
    // keys of other owners that only have a registered default.
    static const Setting kSettings[];

    // Registers each key's default with the defaults store, so that a key the store lacks reads as it.
    void registerDefaults();
    // Assigns and announces when the value differs.
    template <class T>
    void update(T& field, T value, const char* key);

    UserDefaults defaults_;
    std::optional<double> now_;

    bool isPenPalettePinned_ = false;
    bool isErasingSelectedColor_ = false;
    bool shownColorPaletteScrollHint_ = false;
    bool disablePalmRejection_ = false;
    bool onlyDrawWithStylus_ = false;
    bool disableScreenPanning_ = false;
    float recentFontSize_ = kDefaultFontSize;
    std::vector<KColor> penColors_;
    PenTables penTables_;
    std::vector<std::string> recentFontFamilies_;
    std::string recentFontName_ = kDefaultFontName;
    FLTextSettings defaultTextSettings_;
    std::int64_t colorPalettePage_ = 0;
    double installDate_ = 0;
    std::int64_t pleaseRateVersion_ = 0;
    std::int64_t lastRateTime_ = 0;
    std::int64_t promotionVersion_ = 0;
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
// Numbers as 32-bit reals; a member that is not a finite number, or outside the range of a float, reads as
// NaN, for the reader of each key to replace.
std::vector<std::uint8_t> archiveFloats(const std::vector<float>& values);
std::optional<std::vector<float>> unarchiveFloats(const QByteArray& bytes, ArrayKind kind = ArrayKind::Any);
std::vector<std::uint8_t> archiveStrings(const std::vector<std::string>& values);
std::optional<std::vector<std::string>> unarchiveStrings(const QByteArray& bytes,
                                                         ArrayKind kind = ArrayKind::Any);
std::vector<std::uint8_t> archiveTextSettings(const FLTextSettings& settings);
FLTextSettingsPtr unarchiveTextSettings(const QByteArray& bytes);

}  // namespace velumen
