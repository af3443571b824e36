// Writes the books the notebook ships with into the folder given: the template of a new book and the
// guides.
#include <cstdio>

#include "gallery/FoliantGallery.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: velumen_make_books FOLDER\n", stderr);
        return 2;
    }
    if (!velumen::FoliantGallery::writeBundledBooks(QString::fromLocal8Bit(argv[1]))) {
        std::fprintf(stderr, "velumen_make_books: %s: the books cannot be written\n", argv[1]);
        return 1;
    }
    return 0;
}
