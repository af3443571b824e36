// What the gallery knows of a book without loading it: the preview picture and the page it shows, from the
// partial read over the mapped file. Only the bytes the read touches are paged in, so the cost does not grow
// with the size of the book.
#pragma once

#include <QImage>
#include <QString>
#include <optional>

namespace velumen {

struct BookPreview {
    QImage thumbnail;  // device pixel ratio = the preview's stored scale
    int pageNum = 0;
    bool isLocked = false;
};

// The preview of the book at `path`; nullopt for a file that cannot be read, is not a book, or holds no
// readable preview.
std::optional<BookPreview> readBookPreview(const QString& path);

// `image` scaled, keeping its aspect, to fit a square of `size` pixels; never enlarged.
QImage scaledToFit(const QImage& image, int size);

}  // namespace velumen
