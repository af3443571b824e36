// The order of the start-up messages and their marks.
#include "remote/RemoteMessages.h"

#include <QPointer>

#include "remote/RemoteSettings.h"
#include "shell/FoliantGlobals.h"

namespace velumen {

RemoteMessages::RemoteMessages(FoliantGlobals& globals, RemoteSettings& settings, RemoteEndpoints endpoints,
                               DeviceProfile profile, QObject* parent)
    : QObject(parent), globals_(globals), settings_(settings), endpoints_(std::move(endpoints)),
      profile_(profile) {}

std::int64_t RemoteMessages::runTime() const {
    return globals_.defaults().integerForKey(FoliantGlobals::kRunTime);
}

void RemoteMessages::viewDidAppear() {
    if (showWhatsNewDialogIfNeeded()) return;
    if (runTime() >= kRatingRunTime && showPleaseRateDialogWithThreshold(kRatingThresholdMinutes)) return;
    if (settings_.isLoaded()) {
        evaluatePromotion();
    } else {
        connect(&settings_, &RemoteSettings::remoteSettingsLoaded, this,
                [this](RemoteSettings* s) { remoteSettingsLoaded(s); }, Qt::SingleShotConnection);
    }
}

bool RemoteMessages::showWhatsNewDialogIfNeeded() {
    UserDefaults& defaults = globals_.defaults();
    if (runTime() < 1) {
        defaults.setObject(FoliantGlobals::kLastWhatsNewDialogShown, qlonglong(kVersion));
        defaults.synchronize();
        return false;
    }
    const std::int64_t threshold =
        profile_ == DeviceProfile::Phone ? kWhatsNewPhoneThreshold : kWhatsNewTabletThreshold;
    if (defaults.integerForKey(FoliantGlobals::kLastWhatsNewDialogShown) < threshold && !presenting()) {
        showWhatsNewDialog();
        return true;
    }
    return false;
}

void RemoteMessages::showWhatsNewDialog() {
    UserDefaults& defaults = globals_.defaults();
    defaults.setObject(FoliantGlobals::kLastWhatsNewDialogShown, qlonglong(kVersion));
    defaults.synchronize();
    if (presentWhatsNewDialog) presentWhatsNewDialog();
}

bool RemoteMessages::showPleaseRateDialogWithThreshold(std::int64_t) {
    UserDefaults& defaults = globals_.defaults();
    if (!isOpenableOutside(QUrl(endpoints_.ratingPageUrl))) return false;
    if (defaults.integerForKey(FoliantGlobals::kPrrt) != 0 || presenting()) return false;
    defaults.setObject(FoliantGlobals::kPrrt, qlonglong(runTime()));
    defaults.synchronize();
    if (presentPleaseRateDialog) presentPleaseRateDialog();
    return true;
}

void RemoteMessages::remoteSettingsLoaded(RemoteSettings*) {
    evaluatePromotion();
}

void RemoteMessages::evaluatePromotion() {
    if (!isOpenableOutside(QUrl(endpoints_.promotionPageUrl))) return;
    if (!settings_.shouldShowPromotion(runTime(), globals_.promotionVersion()) || presenting()) return;
    globals_.setPromotionVersion(RemoteSettings::kPromotionVersion);
    globals_.saveSettings();
    if (presentPromotion) presentPromotion();
}

void RemoteMessages::checkForAlert() {
    const QString url = endpoints_.announcementUrl(profile_);
    if (url.isEmpty()) return;
    alert_ = std::make_unique<class KWebAlert>(globals_.defaults(), url, KWebAlert::kVersion, KWebAlert::kEdition);
    alert_->profile = profile_;
    alert_->allowedPrefixes = endpoints_.allowedPrefixes;
    alert_->delegate = this;
    alert_->context = this;
    alert_->network = network;
    alert_->limits = alertLimits;
    QPointer<RemoteMessages> self(this);
    alert_->checkForAlertWithCompletion([self](std::optional<QUrl> page) {
        if (!self || !page || self->presenting()) return;
        if (self->presentWebDialog) self->presentWebDialog(*page);
    });
}

bool RemoteMessages::KWebAlert(class KWebAlert&, const QString&) {
    return !presenting();
}

}  // namespace velumen
