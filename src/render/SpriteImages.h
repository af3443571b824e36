// The editor's own sprite and frame pictures, drawn in code: the tool make_sprites writes them as the
// PNG resources the program loads.
#pragma once

#include <QImage>

namespace velumen {

// "Particle.png": a soft round white dot on a transparent ground, alpha (1 - r^2)^2.
QImage makeParticleImage(int size = 64);
// "Particle2.png": a hard-edged white dot, one pixel of edge.
QImage makeParticle2Image(int size = 64);
// "Picture Border 1.png": a stretchable off-white print frame, transparent in the middle; the bottom margin
// is twice the others.
QImage makePictureBorderImage(int size = 512);

}  // namespace velumen
