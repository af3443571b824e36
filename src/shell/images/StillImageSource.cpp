#include "shell/images/StillImageSource.h"

#include "objects/qt/ImageOps.h"

namespace velumen {

KImage FileStillImageSource::capture(int maxSide, std::string& error) {
    return readPictureFile(path_, maxSide, error);
}

}  // namespace velumen
