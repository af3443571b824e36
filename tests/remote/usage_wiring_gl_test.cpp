// The usage bookkeeping joined to the editor, under a display: the commands that exist raise their
// counters, resigning active adds the run time and saves the counters, becoming active starts a new
// session, and a new installation's first appearance is marked as having seen this version's news.
#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <QTest>

#include "shell/BookFile.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"
#include "shell/UsageWiring.h"

namespace {

using namespace velumen;

struct UsageEditor : ::testing::Test {
    QTemporaryDir dir;
    FoliantGlobals globals{openDefaultsStore(dir.filePath("defaults.plist")), 0.0};
    SteadyClock steady;
    ManualClock clock{1000.0};
    FoliantViewController vc{globals, steady};
    UsageWiring usage{vc, globals, clock};
    QString path = dir.filePath("Book.velumen");
    QtImageCodec codec;

    UsageEditor() {
        vc.setSavesSettingsInBackground(false);
        vc.resize(600, 750);
        vc.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&vc));
    }
    bool openNew() {
        std::string error;
        if (!writeBook(*newOnePageBook(), path, codec, error)) return false;
        std::optional<bool> opened;
        vc.loadDocumentFromFile(path, [&](bool ok) { opened = ok; });
        if (!QTest::qWaitFor([&] { return opened.has_value(); }, 10000)) return false;
        if (vc.document()) vc.document()->setAutosaveInterval(std::chrono::hours(1));
        return *opened;
    }
    std::int32_t count(FLDiagnostics::Counter c) { return usage.diagnostics().counter(c); }
    // Waits for the page turn to end, so the next command is taken.
    void settle() {
        EXPECT_TRUE(QTest::qWaitFor([&] { return vc.pageNavigator()->pendingPageTurnOperations() == 0; }, 5000));
    }
};

TEST_F(UsageEditor, AppendingAPageAndLockingTheBookAreCounted) {
    ASSERT_TRUE(openNew());
    vc.nextPageButtonTapped();  // on the last page: appends
    settle();
    EXPECT_EQ(count(FLDiagnostics::kTotalPagesAdded), 1);
    vc.previousPageButtonTapped();
    settle();
    vc.nextPageButtonTapped();  // to an existing page: no page added
    settle();
    EXPECT_EQ(count(FLDiagnostics::kTotalPagesAdded), 1);
    EXPECT_EQ(vc.book()->pages().size(), 2u);
    vc.lockDocument();
    EXPECT_EQ(count(FLDiagnostics::kTotalBookLocksUsed), 1);
    FoliantDocument::waitForAllWrites();
}

TEST_F(UsageEditor, ResigningActiveAddsTheRunTimeAndSavesTheCounters) {
    usage.diagnostics().didCutItems();
    clock.advance(42.7);
    vc.applicationWillResignActive();
    EXPECT_EQ(globals.defaults().integerForKey(FoliantGlobals::kRunTime), 42);
    auto reread = std::make_unique<UserDefaults>(openDefaultsStore(dir.filePath("defaults.plist")));
    const QVariantList saved = reread->objectForKey(FoliantGlobals::kUserPreferences).toList();
    ASSERT_EQ(saved.size(), 20);
    EXPECT_EQ(saved[FLDiagnostics::kTotalCutOperations].toInt(), 1);
    EXPECT_EQ(saved[FLDiagnostics::kTotalCopyOperations].toInt(), 1);

    // Time in the background is not use.
    clock.advance(5000);
    vc.applicationDidBecomeActive();
    clock.advance(10.2);
    vc.applicationWillResignActive();
    EXPECT_EQ(globals.defaults().integerForKey(FoliantGlobals::kRunTime), 52);
}

TEST_F(UsageEditor, FirstAppearanceOfANewInstallationShowsNothingAndFetchesNothing) {
    usage.viewDidAppear();
    ASSERT_NE(usage.messages(), nullptr);
    EXPECT_EQ(globals.defaults().integerForKey(FoliantGlobals::kLastWhatsNewDialogShown), 720);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_TRUE(usage.messages()->endpoints().announcementTabletUrl.isEmpty());
}

}  // namespace
