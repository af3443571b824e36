// The run time and the usage counters on a real defaults file: the stored array's rules for older stores,
// the support line, and the 32-bit run time.
#include <gtest/gtest.h>

#include <QVariantList>

#include "RemoteTestSupport.h"
#include "remote/FLDiagnostics.h"
#include "remote/FLRunTime.h"

namespace velumen {
namespace {

using test::TempGlobals;

QVariantList numbers(int count, int first = 1) {
    QVariantList list;
    for (int i = 0; i < count; ++i)
        list.append(first + i);
    return list;
}

// A fresh read of the store's file, as the next start would see it.
std::unique_ptr<UserDefaults> reopen(TempGlobals& store) {
    store.defaults().synchronize();
    return std::make_unique<UserDefaults>(openDefaultsStore(store.dir.filePath("defaults.plist")));
}

TEST(FLDiagnostics, OlderStoreOfEighteenLoadsAndTheNextSaveWritesTwenty) {
    TempGlobals store;
    store.defaults().setObject(FoliantGlobals::kUserPreferences, numbers(18));
    FLDiagnostics d(store.defaults(), 1000.0);
    for (int i = 0; i < 18; ++i)
        EXPECT_EQ(d.counter(FLDiagnostics::Counter(i)), i + 1) << i;
    EXPECT_EQ(d.counter(FLDiagnostics::kTotalPNGsExported), 0);
    EXPECT_EQ(d.counter(FLDiagnostics::kTotalPNGsEmailed), 0);
    d.count(FLDiagnostics::kTotalPNGsEmailed);
    ASSERT_TRUE(d.saveSettings());

    auto again = reopen(store);
    const QVariantList saved = again->objectForKey(FoliantGlobals::kUserPreferences).toList();
    ASSERT_EQ(saved.size(), 20);
    EXPECT_EQ(saved[17].toInt(), 18);
    EXPECT_EQ(saved[18].toInt(), 0);
    EXPECT_EQ(saved[19].toInt(), 1);
    FLDiagnostics reloaded(*again, 1000.0);
    EXPECT_EQ(reloaded.counter(FLDiagnostics::kTotalPNGsEmailed), 1);
    EXPECT_EQ(reloaded.counter(FLDiagnostics::kTotalCutOperations), 18);
}

TEST(FLDiagnostics, ArrayTooShortForARangeLeavesThatRangeAtZero) {
    struct Case {
        QVariant stored;
        int readUpTo;  // indices below this come from the store
    };
    const Case cases[] = {
        {numbers(17), 0},  {numbers(18), 18}, {numbers(19), 18},
        {numbers(20), 20}, {numbers(25), 20}, {QVariant("1-2-3"), 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stored.toList().size());
        TempGlobals store;
        store.defaults().setObject(FoliantGlobals::kUserPreferences, c.stored);
        FLDiagnostics d(store.defaults(), 1000.0);
        for (int i = 0; i < FLDiagnostics::kCounterCount; ++i)
            EXPECT_EQ(d.counter(FLDiagnostics::Counter(i)), i < c.readUpTo ? i + 1 : 0) << i;
    }
}

TEST(FLDiagnostics, MembersThatAreNotNumbersReadZeroAndHugeNumbersAreClamped) {
    TempGlobals store;
    QVariantList list = numbers(20);
    list[2] = "seven";
    list[3] = 1e30;
    list[4] = -1e30;
    list[5] = qlonglong(1) << 40;
    list[6] = 3.9;
    store.defaults().setObject(FoliantGlobals::kUserPreferences, list);
    FLDiagnostics d(store.defaults(), 1000.0);
    EXPECT_EQ(d.counter(FLDiagnostics::Counter(2)), 0);
    EXPECT_EQ(d.counter(FLDiagnostics::Counter(3)), 2147483647);
    EXPECT_EQ(d.counter(FLDiagnostics::Counter(4)), -2147483647 - 1);
    EXPECT_EQ(d.counter(FLDiagnostics::Counter(5)), 2147483647);
    EXPECT_EQ(d.counter(FLDiagnostics::Counter(6)), 3);
    EXPECT_EQ(d.counter(FLDiagnostics::Counter(7)), 8);
}

TEST(FLDiagnostics, CutCountsAsCopyAndCut) {
    TempGlobals store;
    FLDiagnostics d(store.defaults(), 1000.0);
    d.didCutItems();
    d.didCopyItems();
    EXPECT_EQ(d.counter(FLDiagnostics::kTotalCopyOperations), 2);
    EXPECT_EQ(d.counter(FLDiagnostics::kTotalCutOperations), 1);
    d.setCounter(FLDiagnostics::kTotalPagesAdded, 2147483647);
    d.didAddPage();
    EXPECT_EQ(d.counter(FLDiagnostics::kTotalPagesAdded), -2147483647 - 1);
}

TEST(FLDiagnostics, InstallTimeIsNowOnlyForANewInstallation) {
    {
        TempGlobals store;
        FLDiagnostics d(store.defaults(), 500000000.0);
        EXPECT_EQ(d.installTime(), 500000000.0);
        d.saveSettings();
        FLDiagnostics reloaded(*reopen(store), 900000000.0);
        EXPECT_EQ(reloaded.installTime(), 500000000.0);
    }
    {
        // Run time without an install time: installed before the time was kept, and it stays unknown.
        TempGlobals store;
        store.setRunTime(30);
        FLDiagnostics d(store.defaults(), 500000000.0);
        EXPECT_EQ(d.installTime(), 0.0);
    }
}

TEST(FLDiagnostics, SupportLineListsTheTwentyCountersAndTheInstallDate) {
    TempGlobals store;
    store.defaults().setObject(FoliantGlobals::kUserPreferences, numbers(20, 0));
    // 2017-03-05 12:00 UTC.
    FLDiagnostics d(store.defaults(), 510408000.0);
    d.setCounter(FLDiagnostics::kReserved, -3);
    EXPECT_EQ(d.getDiagnosticsString(QTimeZone::utc()), "-3-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16-17-18-19-030517");

    TempGlobals old;
    old.setRunTime(100);
    FLDiagnostics unknown(old.defaults(), 510408000.0);
    EXPECT_EQ(unknown.getDiagnosticsString(QTimeZone::utc()), "0-0-0-0-0-0-0-0-0-0-0-0-0-0-0-0-0-0-0-0-0");
}

TEST(FLRunTime, SessionsAddWholeSecondsToTheStoredRunTime) {
    TempGlobals store;
    ManualClock clock(100.0);
    FLRunTime rt(store.defaults(), clock);
    rt.updateRuntime();  // no session yet: nothing
    EXPECT_EQ(rt.runTime(), 0);
    rt.startRuntime();
    clock.advance(12.9);
    rt.updateRuntime();
    EXPECT_EQ(rt.runTime(), 12);
    // The next session starts at the update: the 0.9 left over is not carried.
    clock.advance(1.2);
    rt.updateRuntime();
    EXPECT_EQ(rt.runTime(), 13);
    EXPECT_EQ(reopen(store)->integerForKey(FoliantGlobals::kRunTime), 13);
}

TEST(FLRunTime, SumWrapsAsA32BitInteger) {
    EXPECT_EQ(addRunTime(2147483647, 1.5), -2147483647 - 1);
    EXPECT_EQ(addRunTime(4294967296LL + 5, 2.0), 7);
    EXPECT_EQ(addRunTime(10, -3.0), 10);
    EXPECT_EQ(addRunTime(10, std::numeric_limits<double>::quiet_NaN()), 10);
}

}  // namespace
}  // namespace velumen
