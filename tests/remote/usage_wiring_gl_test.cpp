// The usage bookkeeping joined to the editor, under a display: the commands that exist raise their
// counters, resigning active adds the run time and saves the counters, becoming active starts a new
// session, and a new installation's first appearance is marked as having seen this version's news.
#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <QTest>

#include "LoopbackHttpServer.h"
#include "remote/KWebDialog.h"
#include "remote/RemoteDialogs.h"
#include "remote/RemoteEndpoints.h"
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

// A deployment whose announcement (for either layout) names a page on the loopback server.
struct ConfiguredUsageEditor : UsageEditor {
    test::LoopbackHttpServer server;
    ConfiguredUsageEditor() {
        server.answer("/svcapps1/latest.txt",
                      test::LoopbackAnswer::plain("dlg00001abcd 0000 " + server.url("/news.html").toUtf8() + "\n"));
        server.answer("/news.html", test::LoopbackAnswer::plain("<p>Hello from the makers</p>", "text/html"));
        UserDefaults& d = globals.defaults();
        d.setObject(RemoteEndpoints::kAllowedPrefixes, QStringList{server.url("/")});
        d.setObject(RemoteEndpoints::kAnnouncementTabletUrl, server.url("/svcapps1/latest.txt"));
        d.setObject(RemoteEndpoints::kAnnouncementPhoneUrl, server.url("/svcapps1/latest.txt"));
        d.setObject(FoliantGlobals::kRunTime, 600);
    }
    // The dialogs of a kind over the editor (they carry no meta-object of their own).
    template <class D>
    QList<D*> dialogs() const {
        QList<D*> found;
        for (QDialog* d : vc.findChildren<QDialog*>())
            if (auto* of = dynamic_cast<D*>(d)) found << of;
        return found;
    }
    QList<KWebDialog*> webDialogs() const { return dialogs<KWebDialog>(); }
};

TEST_F(ConfiguredUsageEditor, AnnouncementShowsItsPageOverTheEditorOnce) {
    globals.defaults().setObject(FoliantGlobals::kLastWhatsNewDialogShown, 720);
    usage.viewDidAppear();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            const auto dialogs = webDialogs();
            return dialogs.size() == 1 && dialogs[0]->isVisible() &&
                   dialogs[0]->webView()->toPlainText().contains("Hello from the makers");
        },
        5000));
    EXPECT_EQ(globals.defaults().integerForKey("dlg-abcd"), 1);
    EXPECT_EQ(server.requestCount("/svcapps1/latest.txt"), 1);
    // A second appearance asks for nothing more.
    usage.viewDidAppear();
    EXPECT_EQ(server.requestCount("/svcapps1/latest.txt"), 1);
    webDialogs()[0]->closeDialog();
}

TEST_F(ConfiguredUsageEditor, WhatIsNewOnScreenVetoesTheAnnouncementBeforeItIsMarked) {
    globals.defaults().setObject(FoliantGlobals::kLastWhatsNewDialogShown, 400);
    usage.viewDidAppear();
    ASSERT_EQ(dialogs<WhatsNewDialog>().size(), 1);
    int asked = 0;
    auto inner = usage.messages()->isPresenting;
    usage.messages()->isPresenting = [&] {
        ++asked;
        return inner();
    };
    ASSERT_TRUE(QTest::qWaitFor([&] { return asked > 0; }, 5000));
    EXPECT_EQ(globals.defaults().integerForKey("dlg-abcd"), 0);
    EXPECT_TRUE(webDialogs().isEmpty());
    EXPECT_EQ(server.requestCount("/news.html"), 0);
    EXPECT_EQ(globals.defaults().integerForKey(FoliantGlobals::kLastWhatsNewDialogShown), 720);
}

}  // namespace
