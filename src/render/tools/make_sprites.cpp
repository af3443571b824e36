// Writes the editor's sprite and frame pictures into a folder: make_sprites DIR.
#include <QDir>
#include <QGuiApplication>
#include <cstdio>

#include "render/SpriteImages.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_sprites DIR\n");
        return 2;
    }
    const QDir dir(QString::fromLocal8Bit(argv[1]));
    bool ok = velumen::makeParticleImage().save(dir.filePath("Particle.png"), "PNG");
    ok = velumen::makeParticle2Image().save(dir.filePath("Particle2.png"), "PNG") && ok;
    ok = velumen::makePictureBorderImage().save(dir.filePath("Picture Border 1.png"), "PNG") && ok;
    if (!ok) std::fprintf(stderr, "make_sprites: could not write into %s\n", argv[1]);
    return ok ? 0 : 1;
}
