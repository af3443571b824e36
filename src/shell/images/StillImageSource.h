// Where a photo comes from when the user asks for the camera: a source gives one still picture or says
// why it cannot. The notebook uses the camera source, which on a machine without a camera API or without a
// camera says so plainly; tests use a source that reads a file.
#pragma once

#include <QString>
#include <functional>
#include <memory>
#include <string>

#include "objects/KImage.h"

namespace velumen {

class StillImageSource {
  public:
    virtual ~StillImageSource() = default;
    // Whether a picture can be asked for at all; `reason` says why not.
    virtual bool isAvailable(std::string& reason) const = 0;
    // One picture, at most `maxSide` pixels a side; empty with the reason when none could be had.
    virtual KImage capture(int maxSide, std::string& error) = 0;
};

// A picture file standing in for the camera.
class FileStillImageSource : public StillImageSource {
  public:
    explicit FileStillImageSource(QString path) : path_(std::move(path)) {}
    bool isAvailable(std::string&) const override { return true; }
    KImage capture(int maxSide, std::string& error) override;

  private:
    QString path_;
};

// The camera of this machine. This build has no camera interface, so it is never available and says so.
class CameraStillImageSource : public StillImageSource {
  public:
    bool isAvailable(std::string& reason) const override {
        reason = "No camera is available on this computer.";
        return false;
    }
    KImage capture(int, std::string& error) override {
        isAvailable(error);
        return {};
    }
};

}  // namespace velumen
