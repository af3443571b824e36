// The writer the crash-safety tests run as a child process, on a book file the test made:
//   velumen_save_child churn PATH         opens the book and saves it without end, its ink alternating
//                                         between the book as read and the same shifted one unit right;
//                                         prints "ready" once the first save is under way.
//   velumen_save_child fill PATH LIMIT    opens the book with files limited to LIMIT bytes (SIGXFSZ
//                                         ignored), shifts the ink and autosaves once; exits 0 when the save
//                                         failed with SavingError raised through the signal, 1 otherwise.
#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <QCoreApplication>

#include "TestBooks.h"
#include "document/qt/FoliantDocument.h"
#include "objects/qt/QtImageCodec.h"

using namespace velumen;

namespace {

int churn(QCoreApplication& app, FoliantDocument& document) {
    std::vector<KVSPointSetArrayPtr> asRead, shifted;
    bool isShifted = false;
    std::function<void()> saveNext = [&] {
        isShifted = !isShifted;
        const auto& pages = document.data()->pages();
        for (std::size_t p = 0; p < pages.size(); ++p)
            pages[p]->pointSets = isShifted ? shifted[p] : asRead[p];
        document.updateChangeCount(FoliantDocument::ChangeKind::Done);
        document.autosaveWithCompletionHandler([&](bool saved) {
            if (!saved) {
                std::fprintf(stderr, "save failed: %s\n", document.errorString().toUtf8().constData());
                app.exit(3);
                return;
            }
            saveNext();
        });
    };
    document.openWithCompletionHandler([&](bool opened) {
        if (!opened) {
            std::fprintf(stderr, "open failed: %s\n", document.errorString().toUtf8().constData());
            app.exit(2);
            return;
        }
        for (const auto& page : document.data()->pages()) {
            asRead.push_back(page->pointSets);
            shifted.push_back(testbooks::shiftedInk(*page->pointSets));
        }
        saveNext();
        std::printf("ready\n");
        std::fflush(stdout);
    });
    return app.exec();
}

int fill(QCoreApplication& app, FoliantDocument& document, rlim_t limit) {
    const rlimit fileSize{limit, limit};
    if (::setrlimit(RLIMIT_FSIZE, &fileSize) != 0 || std::signal(SIGXFSZ, SIG_IGN) == SIG_ERR) return 4;
    bool signalled = false;
    QObject::connect(&document, &FoliantDocument::documentStateChanged,
                     [&](FoliantDocument::DocumentState state) {
                         signalled = signalled || state.testFlag(FoliantDocument::SavingError);
                     });
    int status = 1;
    document.openWithCompletionHandler([&](bool opened) {
        if (!opened) {
            app.exit(2);
            return;
        }
        testbooks::shiftBook(*document.data());
        document.updateChangeCount(FoliantDocument::ChangeKind::Done);
        document.autosaveWithCompletionHandler([&](bool saved) {
            const bool failedAsItShould = !saved && signalled && document.hasUnsavedChanges() &&
                                          document.documentState().testFlag(FoliantDocument::SavingError) &&
                                          !document.errorString().isEmpty();
            std::printf("saved %d, signalled %d, error: %s\n", int(saved), int(signalled),
                        document.errorString().toUtf8().constData());
            status = failedAsItShould ? 0 : 1;
            app.exit(0);
        });
    });
    if (app.exec() != 0) return 2;
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 3) return 64;
    QtImageCodec codec;
    FoliantDocument document(QString::fromLocal8Bit(argv[2]), codec);
    const std::string mode = argv[1];
    if (mode == "churn") return churn(app, document);
    if (mode == "fill" && argc == 4)
        return fill(app, document, static_cast<rlim_t>(std::strtoull(argv[3], nullptr, 10)));
    return 64;
}
