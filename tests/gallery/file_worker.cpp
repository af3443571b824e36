// A child for the kill trials: renames or deletes the books of a folder as fast as it can, one dot on
// standard output after each, until it is killed or nothing is left.
//   gallery_file_worker rename FOLDER SEED
//   gallery_file_worker delete FOLDER SEED
#include <unistd.h>

#include <QDir>
#include <QString>
#include <cstdio>
#include <cstring>
#include <random>

#include "gallery/KCloudGallery.h"
#include "gallery/KUtils.h"

int main(int argc, char** argv) {
    using namespace velumen;
    if (argc != 4) return 2;
    const bool rename = std::strcmp(argv[1], "rename") == 0;
    const QString folder = QString::fromLocal8Bit(argv[2]);
    std::mt19937 rng(static_cast<unsigned>(std::atoi(argv[3])));
    const QStringList names = {"Trip", "trip", "Garden", "Notes", "Notes 2", "Sketches", "Recovered", "Plan"};
    for (int step = 0; step < 100000; ++step) {
        const auto listed = KUtils::getDateSortedFileList(folder, "velumen");
        if (!listed || listed->empty()) return 0;
        const FileInfo& chosen = (*listed)[rng() % listed->size()];
        if (rename) {
            KCloudGallery::renameFile(chosen.path(), names[int(rng() % names.size())], "velumen");
        } else {
            KUtils::removeFile(chosen.path());
        }
        (void)::write(STDOUT_FILENO, ".", 1);
    }
    return 0;
}
