// The folder's watcher with real file-system events and a clock that only moves when told: a burst of
// changes gives one list update, five seconds after its last change.
#include <QSignalSpy>
#include <QTest>

#include "GalleryFixture.h"
#include "WaitFor.h"
#include "gallery/KDirectoryWatcher.h"

namespace velumen::gallerytest {
namespace {

using GalleryWatcher = GalleryTest;

TEST_F(GalleryWatcher, TwoChangesThreeSecondsApartGiveOneUpdateFiveSecondsAfterTheSecond) {
    ManualClock clock(100.0);
    auto scheduler = std::make_unique<ManualScheduler>(clock);
    ManualScheduler& timer = *scheduler;
    defaults->setValue(FoliantGallery::kQuickStartVersion, 100);
    defaults->setValue(FoliantGallery::kReleaseNoteVersion, 400);
    FoliantGallery gallery({documents, caches, resources}, *defaults);
    gallery.viewDidLoad(std::move(scheduler));
    gallery.updateFileListAndScroll(false, false);
    QSignalSpy reads(&gallery, &KCloudGallery::filesChanged);

    writeFile(book("First.velumen"), bookBytes());
    WAIT_FOR(timer.scheduledCount() >= 1, 10000);
    clock.advance(3.0);
    EXPECT_FALSE(timer.runDue());
    const int before = timer.scheduledCount();
    writeFile(book("Second.velumen"), bookBytes());
    WAIT_FOR(timer.scheduledCount() > before, 10000);
    EXPECT_DOUBLE_EQ(timer.dueTime(), 108.0);  // five seconds after the second change

    clock.advance(4.9);
    EXPECT_FALSE(timer.runDue());
    EXPECT_EQ(reads.count(), 0);
    clock.advance(0.1);
    EXPECT_TRUE(timer.runDue());
    ASSERT_EQ(reads.count(), 1);
    EXPECT_EQ(gallery.files.size(), 2u);
    clock.advance(60);
    EXPECT_FALSE(timer.runDue());  // nothing more pending
    EXPECT_EQ(reads.count(), 1);
}

TEST_F(GalleryWatcher, RefusesWhatCannotBeWatched) {
    ManualClock clock;
    KDirectoryWatcher watcher(std::make_unique<ManualScheduler>(clock));
    EXPECT_FALSE(watcher.startMonitoringDirectory(QString()));
    EXPECT_FALSE(watcher.startMonitoringDirectory(root.filePath("Nowhere")));
    EXPECT_TRUE(watcher.startMonitoringDirectory(documents));
    EXPECT_FALSE(watcher.startMonitoringDirectory(documents));  // already running
    EXPECT_EQ(watcher.watchPath(), documents);
    EXPECT_EQ(KDirectoryWatcher::watchDirectoryWithPath(root.filePath("Nowhere")), nullptr);
}

TEST_F(GalleryWatcher, TheEventLoopTimerDeliversTheNotice) {
    auto watcher = KDirectoryWatcher::watchDirectoryWithPath(documents);
    ASSERT_TRUE(watcher);
    QSignalSpy changed(watcher.get(), &KDirectoryWatcher::directoryChanged);
    writeFile(book("One.velumen"), bookBytes());
    EXPECT_TRUE(changed.wait(10000));
    EXPECT_EQ(changed.count(), 1);
}

}  // namespace
}  // namespace velumen::gallerytest
