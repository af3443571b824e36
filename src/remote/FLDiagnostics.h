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

    std::int32_t counter(Counter which) const { return this->*kFields[which]; }
    void setCounter(Counter which, std::int32_t value) { this->*kFields[which] = value; }
    // Adds one to a counter, wrapping as the 32-bit number it is stored as.
    void count(Counter which);
    double installTime() const { return _installTime; }

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

    // The counters, in the order of the stored array.
    std::int32_t _reserved = 0;
    std::int32_t _numBooks = 0;
    std::int32_t _totalTweetsSent = 0;
    std::int32_t _totalPagesAdded = 0;
    std::int32_t _totalImagesAdded = 0;
    std::int32_t _totalTextBoxesAdded = 0;
    std::int32_t _totalStationeryUses = 0;
    std::int32_t _totalCustomStationeryUses = 0;
    std::int32_t _numCustomStationery = 0;
    std::int32_t _totalBookLocksUsed = 0;
    std::int32_t _totalVelumenBooksEmailed = 0;
    std::int32_t _totalPDFsExported = 0;
    std::int32_t _totalPDFsEmailed = 0;
    std::int32_t _totalJPEGsExported = 0;
    std::int32_t _totalJPEGsEmailed = 0;
    std::int32_t _totalSnapshotsSaved = 0;
    std::int32_t _totalCopyOperations = 0;
    std::int32_t _totalCutOperations = 0;
    std::int32_t _totalPNGsExported = 0;
    std::int32_t _totalPNGsEmailed = 0;
    // Seconds since 1 January 2001; 0 when unknown.
    double _installTime = 0;

  private:
    using Field = std::int32_t FLDiagnostics::*;
    static constexpr Field kFields[kCounterCount] = {
        &FLDiagnostics::_reserved,
        &FLDiagnostics::_numBooks,
        &FLDiagnostics::_totalTweetsSent,
        &FLDiagnostics::_totalPagesAdded,
        &FLDiagnostics::_totalImagesAdded,
        &FLDiagnostics::_totalTextBoxesAdded,
        &FLDiagnostics::_totalStationeryUses,
        &FLDiagnostics::_totalCustomStationeryUses,
        &FLDiagnostics::_numCustomStationery,
        &FLDiagnostics::_totalBookLocksUsed,
        &FLDiagnostics::_totalVelumenBooksEmailed,
        &FLDiagnostics::_totalPDFsExported,
        &FLDiagnostics::_totalPDFsEmailed,
        &FLDiagnostics::_totalJPEGsExported,
        &FLDiagnostics::_totalJPEGsEmailed,
        &FLDiagnostics::_totalSnapshotsSaved,
        &FLDiagnostics::_totalCopyOperations,
        &FLDiagnostics::_totalCutOperations,
        &FLDiagnostics::_totalPNGsExported,
        &FLDiagnostics::_totalPNGsEmailed,
    };

    UserDefaults& defaults_;
    std::optional<double> now_;
};

}  // namespace velumen
