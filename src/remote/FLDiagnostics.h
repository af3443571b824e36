// The usage counters, kept on this machine only: how often each feature was used, as twenty 32-bit numbers
// stored as one array under "FL.User.Preferences", and the install time under "FL.InstallTime". They change
// in memory as commands run and are saved when the notebook resigns active. Nothing sends them anywhere.
#pragma once

#include <QString>
#include <QTimeZone>
#include <array>
#include <optional>
#include <cstdint>

namespace velumen {

class UserDefaults;

class FLDiagnostics {
  public:
    // The positions of the counters in the stored array.
    enum Counter : int {
        kReserved = 0,
        kNumBooks,
        kTotalTweetsSent,
        kTotalPagesAdded,
        kTotalImagesAdded,
        kTotalTextBoxesAdded,
        kTotalStationeryUses,
        kTotalCustomStationeryUses,
        kNumCustomStationery,
        kTotalBookLocksUsed,
        kTotalVelumenBooksEmailed,
        kTotalPDFsExported,
        kTotalPDFsEmailed,
        kTotalJPEGsExported,
        kTotalJPEGsEmailed,
        kTotalSnapshotsSaved,
        kTotalCopyOperations,
        kTotalCutOperations,
        kTotalPNGsExported,
        kTotalPNGsEmailed,
        kCounterCount
    };

    // Counters on `defaults`, loaded at once; `now` is the time in seconds since 1 January 2001 used for a
    // first install time (the clock's by default).
    explicit FLDiagnostics(UserDefaults& defaults, std::optional<double> now = std::nullopt);

    // The process's counters, on the user's store, made on first use.
    static FLDiagnostics& shared();

    // Reads indices 0 to 17 only from an array of at least 18 elements and 18, 19 only from one of at least
    // 20: a store of an older version gains the newer counters at 0. A member that is not a number reads 0;
    // numbers beyond 32 bits are clamped. The install time is read; when it is 0 and there is no run time
    // yet this is a new installation and it becomes now; with run time it stays 0 (installed before it was
    // kept).
    void loadSettings();
    // Writes all twenty counters and the install time, and forces the store to disk.
    bool saveSettings();
    // One line for support: the twenty counters joined by "-", then "-" and the install date as "MMddyy"
    // in `zone`, or "-0" without an install time.
    QString getDiagnosticsString(const QTimeZone& zone = QTimeZone::systemTimeZone()) const;

    std::int32_t counter(Counter which) const { return counters_[which]; }
    void setCounter(Counter which, std::int32_t value) { counters_[which] = value; }
    // Adds one, wrapping as the 32-bit number it is stored as.
    void count(Counter which);
    double installTime() const { return installTime_; }

    // The commands that count.
    void didAddPage() { count(kTotalPagesAdded); }
    void didLockBook() { count(kTotalBookLocksUsed); }
    void didCopyItems() { count(kTotalCopyOperations); }
    // A cut is a copy and a removal: it counts as both.
    void didCutItems() {
        didCopyItems();
        count(kTotalCutOperations);
    }
    void didInsertImage() { count(kTotalImagesAdded); }
    void didInsertTextBox() { count(kTotalTextBoxesAdded); }

  private:
    UserDefaults& defaults_;
    std::optional<double> now_;
    std::array<std::int32_t, kCounterCount> counters_{};
    double installTime_ = 0;
};

}  // namespace velumen
