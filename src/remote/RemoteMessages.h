// The editor's start-up messages and the announcement channel, without widgets: which dialog, if any, may
// show when the editor appears, and what is marked in the defaults store before it shows. At most one
// dialog per appearance, tried in this order: what is new in this version (never for a new installation),
// the request for a rating (after two hours of use, once in the life of the installation, and only when
// the deployment names a page to rate on), the cross-promotion of the settings document. Nothing shows while
// something else is presented, and that veto comes before anything is marked shown. The dialogs themselves
// are shown through the present hooks (see RemoteDialogs for the widgets).
#pragma once

#include <QObject>
#include <QUrl>
#include <cstdint>
#include <functional>
#include <memory>

#include "input/EditorViewport.h"
#include "remote/KWebAlert.h"
#include "remote/RemoteEndpoints.h"

namespace velumen {

class FoliantGlobals;
class RemoteSettings;

class RemoteMessages : public QObject, public KWebAlertDelegate {
  public:
    // The version as a whole number: what-is-new, the rating and the promotion are asked once per version.
    static constexpr std::int64_t kVersion = 720;
    // Below these, an installation has not seen this version's news.
    static constexpr std::int64_t kWhatsNewTabletThreshold = 500;
    static constexpr std::int64_t kWhatsNewPhoneThreshold = 540;
    // The run time after which the rating may be asked for, and the minutes of use the ask waits for.
    static constexpr std::int64_t kRatingRunTime = 7201;
    static constexpr std::int64_t kRatingThresholdMinutes = 45;

    RemoteMessages(FoliantGlobals& globals, RemoteSettings& settings, RemoteEndpoints endpoints,
                   DeviceProfile profile, QObject* parent = nullptr);

    // Whether the editor presents something now (a dialog, a menu, a picker); by default nothing.
    std::function<bool()> isPresenting;
    // Show a dialog; each is called only after its marks are stored.
    std::function<void()> presentWhatsNewDialog;
    std::function<void()> presentPleaseRateDialog;
    std::function<void()> presentPromotion;
    std::function<void(const QUrl&)> presentWebDialog;

    // The editor appeared: tries the dialogs in order and stops at the first shown.
    void viewDidAppear();
    // True when it showed the news: never on a new installation (no run time yet), which is marked as
    // having seen this version's; otherwise when the version last shown is below the profile's threshold.
    bool showWhatsNewDialogIfNeeded();
    // Marks this version's news as seen, saves, and shows them.
    void showWhatsNewDialog();
    // True when it asked for a rating: only when a page to rate on is configured, nothing is presented and
    // "prrt" is 0; "prrt" then keeps the run time of the ask. `thresholdMinutes` belongs to the platform
    // review request, which has no counterpart here.
    bool showPleaseRateDialogWithThreshold(std::int64_t thresholdMinutes);
    // The settings document is read: the promotion may show.
    void remoteSettingsLoaded(RemoteSettings* settings);
    // Fetches the announcement of the profile, if configured, and shows its page when it passes.
    void checkForAlert();

    // The announcement's veto: false while something is presented.
    bool KWebAlert(class KWebAlert& alert, const QString& dialogKey) override;

    // The network and limits for the announcement (tests shorten the deadline).
    QNetworkAccessManager* network = nullptr;
    WebFetchLimits alertLimits{64 * 1024, 10000};

    const RemoteEndpoints& endpoints() const { return endpoints_; }
    DeviceProfile profile() const { return profile_; }

  private:
    bool presenting() const { return isPresenting && isPresenting(); }
    std::int64_t runTime() const;
    void evaluatePromotion();

    FoliantGlobals& globals_;
    RemoteSettings& settings_;
    RemoteEndpoints endpoints_;
    DeviceProfile profile_;
    std::unique_ptr<class KWebAlert> alert_;
};

}  // namespace velumen
