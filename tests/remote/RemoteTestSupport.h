// Shared pieces of the remote tests: a defaults store in a temporary folder, and waiting on a condition.
#pragma once

#include <QTemporaryDir>
#include <QTest>
#include <memory>

#include "shell/DefaultsStore.h"
#include "shell/FoliantGlobals.h"

namespace velumen::test {

// A settings store of its own for each test, at a fixed install time.
struct TempGlobals {
    QTemporaryDir dir;
    std::unique_ptr<FoliantGlobals> globals =
        std::make_unique<FoliantGlobals>(openDefaultsStore(dir.filePath("defaults.plist")), 700000000.0);
    UserDefaults& defaults() { return globals->defaults(); }
    void setRunTime(qlonglong rtx) { defaults().setObject(FoliantGlobals::kRunTime, rtx); }
};

// Runs the event loop until `condition` holds or `ms` pass.
template <class F>
bool waitFor(F condition, int ms = 3000) {
    return QTest::qWaitFor(condition, ms);
}

}  // namespace velumen::test
