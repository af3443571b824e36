// The notebook's entry point. Until the editor lands it opens a window that says so; with --demo PATH it
// saves a picture of that window to PATH and exits, for machines with no display of their own.
#include <QApplication>
#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>
#include <cstdio>

#include "ink/MemoryPolicy.h"

int main(int argc, char** argv) {
    velumen::keepFreedMemoryForReuse();
    QApplication app(argc, argv);
    QApplication::setApplicationName("Velumen");

    QString demoPath;
    const QStringList args = QApplication::arguments();
    const qsizetype demo = args.indexOf("--demo");
    if (demo >= 0 && demo + 1 < args.size()) demoPath = args[demo + 1];

    QWidget window;
    window.setWindowTitle("Velumen");
    auto* layout = new QVBoxLayout(&window);
    auto* label = new QLabel(
        "<h2>Velumen</h2><p>The ink engine is in place; the editor that draws with it is still being "
        "built.</p>");
    label->setAlignment(Qt::AlignCenter);
    layout->addWidget(label);
    window.resize(640, 400);
    window.show();

    if (!demoPath.isEmpty()) {
        QTimer::singleShot(200, [&] {
            const bool saved = window.grab().save(demoPath, "PNG");
            std::printf("screenshot: %s\n", saved ? qPrintable(demoPath) : "(could not be written)");
            QApplication::exit(saved ? 0 : 1);
        });
    }
    return QApplication::exec();
}
