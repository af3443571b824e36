// Operations on decoded pictures with Qt's painter: scaling into a size (fitted or filled and cropped),
// readying a picture for a page, greyscale, and reading a picture file without ever holding more than a
// bounded bitmap. Needs no application object and no display.
#pragma once

#include <QImage>
#include <QString>
#include <string>

#include "ink/KGeometry.h"
#include "objects/KImage.h"

namespace velumen {

// Premultiplied copy of a Qt image; an empty picture for a null one.
KImage kImageFromQImage(const QImage& image);
// A view of the words as a Qt image, valid while the picture lives and is not changed.
QImage qImageView(const KImage& image);

// The picture scaled into `target` and centred: with fill the result has the target's size and the
// overflow is cropped; without fill it has the rounded scaled size. Equal sizes draw at the target size.
// The scale of the picture is kept.
KImage imageByScalingAndCroppingForSize(const KImage& image, Size target, bool fill);
// The picture readied for a page: scale 1 so that sizes count pixels, and no side above `maxSide` (scaled
// without fill when it is larger).
KImage fixImageForTexture(const KImage& image, double maxSide);
// Grey from the premultiplied colour over black, opaque.
KImage grayScaleKImage(const KImage& image);

// Reads a picture file in any format Qt reads, orientation applied. A picture larger than `maxSide` on
// either side is read shrunk to fit it where the format allows, and scaled down after reading otherwise.
// A failure leaves the picture empty and says why in `error`, in words for the user.
KImage readPictureFile(const QString& path, int maxSide, std::string& error);

}  // namespace velumen
