// How the usage bookkeeping and the remote messages hang on the editor.
#include "shell/UsageWiring.h"

#include "remote/RemoteDialogs.h"
#include "remote/RemoteSettings.h"
#include "shell/FoliantGlobals.h"
#include "shell/FoliantViewController.h"

namespace velumen {

UsageWiring::UsageWiring(FoliantViewController& editor, FoliantGlobals& globals, const Clock& clock)
    : editor_(editor), globals_(globals), diagnostics_(globals.defaults()),
      runTime_(globals.defaults(), clock) {
    editor_.diagnostics = &diagnostics_;
    editor_.usageWillResignActive = [this] {
        runTime_.updateRuntime();
        diagnostics_.saveSettings();
    };
    editor_.usageDidBecomeActive = [this] { runTime_.startRuntime(); };
    runTime_.startRuntime();
}

UsageWiring::~UsageWiring() {
    editor_.diagnostics = nullptr;
    editor_.usageWillResignActive = nullptr;
    editor_.usageDidBecomeActive = nullptr;
}

void UsageWiring::viewDidAppear() {
    if (messages_) return;
    messages_ = std::make_unique<RemoteMessages>(globals_, RemoteSettings::shared(),
                                                 RemoteEndpoints::fromDefaults(globals_.defaults()),
                                                 editor_.session().viewport.profile);
    installRemoteDialogs(*messages_, editor_);
    messages_->checkForAlert();
    messages_->viewDidAppear();
}

void loadRemoteSettingsWithSettings() {
    FoliantGlobals::didLoadSettings = [](FoliantGlobals& globals) {
        RemoteSettings::shared().load(RemoteEndpoints::fromDefaults(globals.defaults()).settingsUrl);
    };
}

}  // namespace velumen
