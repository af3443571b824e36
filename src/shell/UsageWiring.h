// The notebook's usage bookkeeping and remote messages, joined to its editor: the run time starts and
// stops with the editor becoming and resigning active, the counters are raised by the editor's commands and
// saved as it resigns active, and the first appearance of the editor fetches the announcement and shows at
// most one start-up message. Every address comes from the deployment values of the defaults store; with
// none configured nothing is fetched and nothing is sent.
#pragma once

#include <QObject>
#include <memory>

#include "ink/Clock.h"
#include "remote/FLDiagnostics.h"
#include "remote/FLRunTime.h"
#include "remote/RemoteMessages.h"

namespace velumen {

class FoliantGlobals;
class FoliantViewController;

class UsageWiring : public QObject {
  public:
    // Joins `editor` and starts the run time: the notebook is active once its window shows.
    UsageWiring(FoliantViewController& editor, FoliantGlobals& globals, const Clock& clock);
    ~UsageWiring() override;

    // The editor appeared: the first time, the announcement is fetched and the start-up messages tried.
    void viewDidAppear();

    FLDiagnostics& diagnostics() { return diagnostics_; }
    FLRunTime& runTime() { return runTime_; }
    // Made at the first appearance, when the device profile is known.
    RemoteMessages* messages() const { return messages_.get(); }

  private:
    FoliantViewController& editor_;
    FoliantGlobals& globals_;
    FLDiagnostics diagnostics_;
    FLRunTime runTime_;
    std::unique_ptr<RemoteMessages> messages_;
};

// Makes the remote settings document load at the end of every load of the settings store, from the address
// the store configures (none by default). Set before the settings are first made.
void loadRemoteSettingsWithSettings();

}  // namespace velumen
