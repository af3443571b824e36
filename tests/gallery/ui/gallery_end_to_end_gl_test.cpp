// The notebook's gallery and editor in one window, driven by real mouse and key events under a display:
// making, naming, duplicating, finding, sorting, deleting and opening books, a book that will not open,
// and closing a book back into the grid with its new picture.
#include <gtest/gtest.h>

#include "WaitFor.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QInputDialog>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include "app/NotebookGallery.h"
#include "gallery/BookPreview.h"
#include "gallery/guide/GuideBooks.h"
#include "gallery/ui/GalleryView.h"
#include "shell/DefaultsStore.h"
#include "shell/FoliantViewController.h"
#include "shell/NotebookWindow.h"

namespace velumen {
namespace {

// One notebook window over temporary books, caches and settings.
struct Notebook {
    QTemporaryDir dir;
    QString books = dir.filePath("Velumen");
    FoliantGlobals globals{openDefaultsStore(dir.filePath("defaults.plist")), 0.0};
    SteadyClock clock;
    FoliantViewController editor{globals, clock};
    std::unique_ptr<NotebookWindow> window;
    std::unique_ptr<GalleryController> gallery;
    std::unique_ptr<GalleryView> view;
    std::unique_ptr<NotebookGallery> shelf;
    QStringList messages;

    Notebook() {
        editor.setSavesSettingsInBackground(false);
        QDir().mkpath(books);
        EXPECT_TRUE(FoliantGallery::writeBundledBooks(dir.filePath("resources")));
        window = std::make_unique<NotebookWindow>(editor);
        gallery = std::make_unique<GalleryController>(
            KCloudGallery::Folders{books, dir.filePath("caches"), dir.filePath("resources")},
            globals.defaults().store());
        gallery->viewDidLoad();
        view = std::make_unique<GalleryView>(*gallery, window->stack());
        window->addGallery(view.get(),
                           {view->newBookAction, view->importAction, view->openAction, view->renameAction,
                            view->duplicateAction, view->deleteAction, view->findAction});
        shelf = std::make_unique<NotebookGallery>(editor, *window, *view);
        shelf->showMessage = [this](const QString& text) { messages << text; };
        window->resize(1100, 850);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        // Window shortcuts (Ctrl+W, Ctrl+N) go to the active window only.
        window->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(window.get()));
        editor.startDisplayLink();
        shelf->start();
    }
    ~Notebook() {
        if (editor.document()) {
            bool closed = false;
            editor.closeDocumentWithCompletion([&](bool) { closed = true; });
            EXPECT_TRUE(QTest::qWaitFor([&] { return closed; }, 10000));
        }
        editor.stopDisplayLink();
        shelf.reset();
        view.reset();
        gallery->waitForFileWork();
        gallery->waitForThumbnailWork();
    }
    QString book(const QString& name) const { return QDir(books).filePath(name + ".velumen"); }
    QString selectedName() const {
        return QFileInfo(gallery->selectedFileUrl.toLocalFile()).completeBaseName();
    }
    QStringList arrangedNames() const {
        QStringList names;
        for (int index : gallery->arrangedOrder())
            names << gallery->files[std::size_t(index)].fileName;
        return names;
    }
    int indexOf(const QString& name) const {
        return gallery->indexOfFileUrl(QUrl::fromLocalFile(book(name)));
    }
    // A click on the middle of a book's card.
    void clickCard(const QString& name) {
        const QRectF card = view->grid()->iconRect(indexOf(name));
        ASSERT_FALSE(card.isEmpty()) << qPrintable(name);
        QTest::mouseClick(view->grid()->viewport(), Qt::LeftButton, Qt::NoModifier, card.center().toPoint());
    }
    void key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        // After a dialog the window takes the keys again once it is active (a window manager's work).
        if (!window->isActiveWindow()) {
            window->activateWindow();
            EXPECT_TRUE(QTest::qWaitForWindowActive(window.get()));
        }
        QTest::keyClick(view->grid(), Qt::Key(key), modifiers);
    }
};

#define REQUIRE_SURFACE(n)                                                           \
    do {                                                                             \
        if (!(n).editor.hasSurface()) {                                              \
            if (qEnvironmentVariable("CI") == "true") FAIL() << "no OpenGL context"; \
            GTEST_SKIP() << "no OpenGL context";                                     \
        }                                                                            \
    } while (0)

TEST(GalleryEndToEnd, BooksAreMadeNamedDuplicatedFoundSortedAndDeletedWithMouseAndKeys) {
    Notebook n;
    REQUIRE_SURFACE(n);
    // First start: the guide is there, and the gallery is the window's page.
    EXPECT_EQ(n.window->stack()->currentWidget(), n.view.get());
    EXPECT_EQ(n.window->windowTitle(), "Velumen");
    ASSERT_EQ(n.gallery->files.size(), 1u);
    EXPECT_EQ(n.gallery->files[0].fileName, "QuickStart Guide.velumen");

    // The add button makes "New Book", selected.
    QTest::mouseClick(n.view->findChild<QToolButton*>("galleryAdd"), Qt::LeftButton);
    WAIT_FOR(n.gallery->files.size() == std::size_t(2), 5000);
    EXPECT_TRUE(QFile::exists(n.book("New Book")));
    EXPECT_EQ(n.selectedName(), "New Book");

    // F2 names it; forbidden characters are cleaned away.
    n.view->grid()->setFocus();
    n.key(Qt::Key_F2);
    WAIT_FOR(n.view->activeDialog() != nullptr, 5000);
    auto* rename = qobject_cast<QInputDialog*>(n.view->activeDialog());
    ASSERT_NE(rename, nullptr);
    EXPECT_EQ(rename->windowTitle(), "Rename File");
    EXPECT_EQ(rename->textValue(), "New Book");
    ASSERT_TRUE(QTest::qWaitForWindowActive(rename));
    // The name is selected, ready to be typed over.
    WAIT_FOR(qobject_cast<QLineEdit*>(QApplication::focusWidget()) != nullptr, 5000);
    auto* field = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    EXPECT_EQ(field->selectedText(), "New Book");
    QTest::keyClicks(field, "Trip: 1/2");
    QTest::keyClick(field, Qt::Key_Return);
    WAIT_FOR(QFile::exists(n.book("Trip 12")), 5000) << QDir(n.books).entryList().join(", ").toStdString();
    EXPECT_FALSE(QFile::exists(n.book("New Book")));
    WAIT_FOR(n.selectedName() == QString("Trip 12"), 5000);

    // Ctrl+D duplicates beside it; Ctrl+N makes another new book.
    WAIT_FOR(n.view->activeDialog() == nullptr, 5000);
    n.key(Qt::Key_D, Qt::ControlModifier);
    WAIT_FOR(QFile::exists(n.book("Trip 12 2")), 5000);
    WAIT_FOR(n.selectedName() == QString("Trip 12 2"), 5000);
    n.key(Qt::Key_N, Qt::ControlModifier);
    EXPECT_TRUE(n.view->grid()->isAnimatingIcons());  // the new icon grows in
    WAIT_FOR(n.gallery->files.size() == std::size_t(4), 5000);
    EXPECT_EQ(n.selectedName(), "New Book");

    // Typing in the search narrows the grid, case aside, and the title counts.
    QTest::mouseClick(n.view->searchField(), Qt::LeftButton);
    QTest::keyClicks(n.view->searchField(), "trip");
    EXPECT_EQ(n.view->titleLabel()->text(), "Showing 2 of 4 Books");
    EXPECT_EQ(n.gallery->visibleOrder().size(), 2u);
    EXPECT_TRUE(n.view->grid()->iconRect(n.indexOf("New Book")).isEmpty());
    n.view->searchField()->selectAll();
    QTest::keyClick(n.view->searchField(), Qt::Key_Backspace);
    EXPECT_EQ(n.view->titleLabel()->text(), "Velumen");
    EXPECT_EQ(n.gallery->visibleOrder().size(), 4u);

    // By name: plain code-point order with the extension, so "Trip 12 2" comes before "Trip 12"; kept.
    QTest::mouseClick(n.view->nameButton(), Qt::LeftButton);
    EXPECT_EQ(n.arrangedNames(), QStringList({"New Book.velumen", "QuickStart Guide.velumen",
                                              "Trip 12 2.velumen", "Trip 12.velumen"}));
    EXPECT_EQ(n.globals.defaults().store().value("GalleryThumbnailArrangement").toInt(), 1);

    // Arrows walk the shown order.
    n.view->grid()->setFocus();
    n.key(Qt::Key_Home);
    EXPECT_EQ(n.selectedName(), "New Book");
    n.key(Qt::Key_Right);
    EXPECT_EQ(n.selectedName(), "QuickStart Guide");
    n.key(Qt::Key_Left);
    EXPECT_EQ(n.selectedName(), "New Book");

    // Delete asks first; "No" keeps the book, "Delete" removes it.
    n.key(Qt::Key_Delete);
    WAIT_FOR(n.view->activeDialog() != nullptr, 5000);
    auto* confirm = qobject_cast<QMessageBox*>(n.view->activeDialog());
    ASSERT_NE(confirm, nullptr);
    EXPECT_EQ(confirm->windowTitle(), "Confirm Delete");
    EXPECT_EQ(confirm->text(), "Permanently delete New Book?");
    QPushButton* no = nullptr;
    QPushButton* remove = nullptr;
    for (QPushButton* button : confirm->findChildren<QPushButton*>()) {
        if (button->text() == "No") no = button;
        if (button->text() == "Delete") remove = button;
    }
    ASSERT_TRUE(no && remove);
    QTest::mouseClick(no, Qt::LeftButton);
    WAIT_FOR(n.view->activeDialog() == nullptr, 5000);
    EXPECT_TRUE(QFile::exists(n.book("New Book")));
    n.key(Qt::Key_Delete);
    WAIT_FOR(n.view->activeDialog() != nullptr, 5000);
    confirm = qobject_cast<QMessageBox*>(n.view->activeDialog());
    ASSERT_NE(confirm, nullptr);
    for (QPushButton* button : confirm->findChildren<QPushButton*>())
        if (button->text() == "Delete") QTest::mouseClick(button, Qt::LeftButton);
    // The icon shrinks away before the file goes.
    EXPECT_TRUE(n.view->grid()->isAnimatingIcons());
    EXPECT_TRUE(QFile::exists(n.book("New Book")));
    WAIT_FOR(!QFile::exists(n.book("New Book")), 5000);
    WAIT_FOR(n.gallery->files.size() == std::size_t(3), 5000);
}

TEST(GalleryEndToEnd, AClickOpensABookAndClosingItReturnsToTheGridWithItsNewPicture) {
    Notebook n;
    REQUIRE_SURFACE(n);
    QTest::mouseClick(n.view->findChild<QToolButton*>("galleryAdd"), Qt::LeftButton);
    WAIT_FOR(QFile::exists(n.book("New Book")), 5000);
    WAIT_FOR(n.indexOf("New Book") >= 0, 5000);
    const QString path = n.book("New Book");

    // A click on the card zooms into the book; the title names it.
    n.clickCard("New Book");
    WAIT_FOR(n.window->stack()->currentWidget() == &n.editor, 15000);
    EXPECT_EQ(n.window->windowTitle(), "New Book \u2014 Velumen");
    WAIT_FOR(!n.view->isZooming(), 5000);

    // While the book is open, the folder's changes (the editor's own saves) rebuild nothing.
    int rebuilt = 0;
    QObject::connect(n.gallery.get(), &KCloudGallery::filesChanged, n.view.get(), [&] { ++rebuilt; });
    n.gallery->directoryChanged();
    EXPECT_EQ(rebuilt, 0);

    // A stroke across the page.
    QWidget* surface = n.editor.touchTarget();
    const QPoint from(surface->width() / 4, surface->height() / 3);
    QTest::mousePress(surface, Qt::LeftButton, Qt::NoModifier, from);
    for (int i = 1; i <= 30; ++i)
        QTest::mouseMove(surface, from + QPoint(10 * i, 4 * i));
    QTest::mouseRelease(surface, Qt::LeftButton, Qt::NoModifier, from + QPoint(300, 120));
    QApplication::processEvents();

    // Ctrl+W closes it: back to the grid, the book first by date, with a picture that shows the ink.
    QTest::keyClick(n.window.get(), Qt::Key_W, Qt::ControlModifier);
    WAIT_FOR(n.window->stack()->currentWidget() == n.view.get(), 15000);
    EXPECT_EQ(n.window->windowTitle(), "Velumen");
    WAIT_FOR(!n.view->isZooming(), 5000);
    EXPECT_TRUE(n.view->isEnabled());
    EXPECT_EQ(n.gallery->files.front().fileUrl, QUrl::fromLocalFile(path));
    EXPECT_GE(rebuilt, 1);
    const QImage picture = n.gallery->getCachedThumbnailForFile(QUrl::fromLocalFile(path));
    ASSERT_FALSE(picture.isNull());
    bool inked = false;
    const QImage rgb = picture.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < rgb.height() && !inked; ++y)
        for (int x = 0; x < rgb.width() && !inked; ++x)
            inked = qGray(rgb.pixel(x, y)) < 128;
    EXPECT_TRUE(inked) << "the closed book's picture shows no ink";
    // The book's own preview, by the partial read, agrees.
    const std::optional<BookPreview> preview = readBookPreview(path);
    ASSERT_TRUE(preview.has_value());
    EXPECT_FALSE(preview->thumbnail.isNull());
}

TEST(GalleryEndToEnd, ABrokenBookIsRefusedWithItsMessageAndTheGalleryStays) {
    Notebook n;
    REQUIRE_SURFACE(n);
    {
        QFile broken(n.book("Broken"));
        ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
        broken.write("this is not a book");
    }
    n.gallery->updateFileList();
    ASSERT_GE(n.indexOf("Broken"), 0);
    n.clickCard("Broken");
    WAIT_FOR(n.messages.size() == 1, 15000);
    EXPECT_TRUE(n.messages[0].contains("Broken.velumen")) << qPrintable(n.messages[0]);
    EXPECT_TRUE(n.messages[0].contains("not a book")) << qPrintable(n.messages[0]);
    EXPECT_EQ(n.window->stack()->currentWidget(), n.view.get());
    WAIT_FOR(!n.view->isZooming(), 5000);
    EXPECT_TRUE(n.view->isEnabled());
    EXPECT_EQ(QFile(n.book("Broken")).size(), qint64(18));
    // The gallery still works: the arrows reach the guide (after the newer broken book) and Return opens it.
    n.key(Qt::Key_Home);
    EXPECT_EQ(n.selectedName(), "Broken");
    n.key(Qt::Key_Right);
    EXPECT_EQ(n.selectedName(), "QuickStart Guide");
    n.key(Qt::Key_Return);
    WAIT_FOR(n.window->stack()->currentWidget() == &n.editor, 15000);
}

TEST(GalleryEndToEnd, ARightClickOffersTheBookMenuAndTakingFilesInMovesOnlyDroppedOnes) {
    Notebook n;
    REQUIRE_SURFACE(n);
    // A right click on a card selects the book and offers its commands.
    const QRectF card = n.view->grid()->iconRect(n.indexOf("QuickStart Guide"));
    ASSERT_FALSE(card.isEmpty());
    QContextMenuEvent menuEvent(QContextMenuEvent::Mouse, card.center().toPoint(),
                                n.view->grid()->viewport()->mapToGlobal(card.center().toPoint()));
    QApplication::sendEvent(n.view->grid()->viewport(), &menuEvent);
    WAIT_FOR(n.view->findChild<QMenu*>("galleryContextMenu") &&
                 n.view->findChild<QMenu*>("galleryContextMenu")->isVisible(),
             5000);
    QMenu* menu = n.view->findChild<QMenu*>("galleryContextMenu");
    QStringList entries;
    for (QAction* action : menu->actions())
        entries << action->text();
    EXPECT_EQ(entries, QStringList({"Rename", "Duplicate", "Delete"}));
    EXPECT_EQ(n.selectedName(), "QuickStart Guide");
    menu->close();

    // A file dropped on the grid moves into the books folder as a book, and its open is refused.
    const QString elsewhere = n.dir.filePath("Elsewhere");
    QDir().mkpath(elsewhere);
    const QString report = elsewhere + "/Report.pdf";
    {
        QFile pdf(report);
        ASSERT_TRUE(pdf.open(QIODevice::WriteOnly));
        pdf.write("%PDF-1.4 not a book");
    }
    auto* data = new QMimeData;
    data->setUrls({QUrl::fromLocalFile(report)});
    const QPoint middle = n.view->grid()->viewport()->rect().center();
    QDragEnterEvent enter(middle, Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(n.view->grid()->viewport(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(middle), Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(n.view->grid()->viewport(), &drop);
    delete data;
    WAIT_FOR(QFile::exists(n.book("Report")), 5000);
    EXPECT_FALSE(QFile::exists(report));
    WAIT_FOR(n.messages.size() == 1, 15000);
    EXPECT_TRUE(n.messages[0].contains("Report.velumen"));
    WAIT_FOR(!n.view->isZooming(), 5000);
    EXPECT_EQ(n.window->stack()->currentWidget(), n.view.get());

    // A book handed over from outside opens where it is and is never moved.
    const QString trip = elsewhere + "/Trip.velumen";
    ASSERT_TRUE(QFile::copy(n.dir.filePath("resources/New Page.velumen"), trip));
    n.shelf->start(trip);
    WAIT_FOR(n.window->stack()->currentWidget() == &n.editor, 15000);
    EXPECT_EQ(n.window->windowTitle(), "Trip \u2014 Velumen");
    EXPECT_TRUE(QFile::exists(trip));
    EXPECT_FALSE(QFile::exists(n.book("Trip")));
}

// The guide's words, as the tokens a reader sees: "Ctrl+N:" reads as "Ctrl+N".
QStringList guideTokens() {
    QStringList tokens;
    for (const GuidePage& page : quickStartGuidePages()) {
        for (const QString& line : page.lines) {
            for (QString token : line.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
                tokens << token.toLower();
                while (token.size() > 1 && QStringLiteral(":;.").contains(token.back()))
                    token.chop(1);
                tokens << token.toLower();
            }
        }
    }
    return tokens;
}

QString guideText() {
    QString text;
    for (const GuidePage& page : quickStartGuidePages())
        text += page.title + '\n' + page.lines.join('\n') + '\n';
    return text.toLower();
}

TEST(GuideBooks, TheGuideGivesTheKeyOfEveryCommandInTheMenusAndNamesThePensAndGestures) {
    Notebook n;
    const QStringList tokens = guideTokens();
    int checked = 0;
    for (QAction* menu : n.window->menuBar()->actions()) {
        if (!menu->menu()) continue;
        for (QAction* action : menu->menu()->actions()) {
            QStringList keys;
            for (const QKeySequence& key : action->shortcuts())
                if (!key.isEmpty()) keys << key.toString(QKeySequence::PortableText).toLower();
            if (keys.isEmpty()) continue;
            ++checked;
            bool named = false;
            for (const QString& key : keys)
                named = named || tokens.contains(key);
            EXPECT_TRUE(named) << qPrintable(action->text()) << ": none of " << qPrintable(keys.join(" "))
                               << " is in the guide";
        }
    }
    EXPECT_GE(checked, 20);
    const QString text = guideText();
    for (const char* words : {"fountain pen", "pencil", "brush", "highlighter", "eraser", "two fingers",
                              "pinch", "swipe", "stylus", "gallery", "search", "sort"})
        EXPECT_TRUE(text.contains(words)) << words;
}

}  // namespace
}  // namespace velumen
