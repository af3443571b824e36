// The editor's thin GL layer: the little of the old fixed-function pipeline that the editor uses, on
// top of GL 3.3 core or GLES 3.0. A projection stack on which push, translate, scale and pop act; a
// current colour, premultiplied; the point attenuation; one shader pair that draws sprites straight
// from 12-byte x, y, size records and the one textured quad. Every GL call goes through here and is
// counted, so that a test can see that a path issued none. The caller makes the context current.
#pragma once

#include <QOpenGLExtraFunctions>
#include <array>
#include <cstdint>
#include <vector>

#include "ink/KGeometry.h"

class QOpenGLContext;

namespace velumen {

// A 2D affine transform: x' = a x + c y + tx, y' = b x + d y + ty.
struct Affine2D {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;

    Affine2D then(const Affine2D& outer) const;  // outer applied after this
    Point map(Point p) const { return {a * p.x + c * p.y + tx, b * p.x + d * p.y + ty}; }
};

class GLLayer {
  public:
    GLLayer() = default;
    ~GLLayer() = default;
    GLLayer(const GLLayer&) = delete;
    GLLayer& operator=(const GLLayer&) = delete;

    // Resolves the functions and builds the program and vertex arrays in the current context. The
    // shader's version line follows the context (desktop or ES). False when the program cannot be built;
    // the layer then draws nothing.
    bool initialize(QOpenGLContext* context);
    // Deletes the program, buffers and arrays; the context must be current.
    void release();
    bool isReady() const { return program_ != 0; }
    // Counts the contexts the layer was built in: GL names kept from an earlier one are not valid here.
    std::uint64_t generation() const { return generation_; }

    // ---- Projection stack ----
    // Replaces the top with the projection of (0, 0)-(width, height), y down: view points to clip space.
    void loadOrtho(double width, double height);
    void pushMatrix();
    // Pops; the bottom of the stack is never removed.
    void popMatrix();
    void translatef(double x, double y);
    void scalef(double sx, double sy);
    const Affine2D& matrix() const { return stack_.back(); }
    void loadMatrix(const Affine2D& m) { stack_.back() = m; }
    std::size_t matrixDepth() const { return stack_.size(); }

    // ---- Drawing state ----
    // Premultiplied colour by which every fragment is multiplied.
    void color4f(float r, float g, float b, float a) { color_ = {r, g, b, a}; }
    std::array<float, 4> color() const { return color_; }
    // a of the point-size formula: a sprite of size s is s / sqrt(a) pixels across, at least 1.
    void setPointAttenuation(float a) { attenuation_ = a; }
    float pointAttenuation() const { return attenuation_; }
    // Pixels per unit of stored size.
    float pointScale() const;
    // The texture that modulates sprites and quads; 0 draws them in the plain colour.
    void bindTexture(GLuint texture) { texture_ = texture; }
    GLuint boundTexture() const { return texture_; }

    // ---- Sprites and the quad ----
    // One instanced draw of count records x, y, size (stride 12) in the current projection.
    void drawPoints(const float* records, std::uint64_t count);
    // The same with one size for every record; the records' own sizes are ignored.
    void drawPointsWithSize(const float* records, std::uint64_t count, float size);
    // The textured quad over rect in current coordinates, turned by rotation radians about its centre,
    // modulated by (alpha, alpha, alpha, alpha). flipped is for textures that GL itself rendered, whose
    // first row is the bottom of the picture.
    void renderTexture(GLuint texture, const Rect& rect, float alpha, float rotation = 0,
                       bool flipped = false);
    // One instanced draw of count records that lie in a record buffer from byteOffset on (a multiple of 4),
    // in the current projection; nothing is uploaded.
    void drawPointsFromBuffer(GLuint buffer, std::size_t byteOffset, std::uint64_t count);
    // Whether a box of centres, grown by the radius of the largest sprite, misses the viewport entirely.
    bool isOutsideViewport(float minX, float minY, float maxX, float maxY, float maxSize) const;
    // The same test with the current projection, viewport and point size taken once, for many boxes.
    class ViewportTest {
      public:
        bool isOutside(float minX, float minY, float maxX, float maxY, float maxSize) const;

      private:
        friend class GLLayer;
        // Pixel x = ax * x + cx * y + tx, pixel y = by * x + dy * y + ty; the surface is width x height.
        double ax = 0, cx = 0, tx = 0, by = 0, dy = 0, ty = 0, width = 0, height = 0, pointScale = 1;
    };
    ViewportTest viewportTest() const;

    // ---- Framebuffers and plain state ----
    void viewport(int x, int y, int width, int height);
    std::array<int, 4> currentViewport() const { return viewport_; }
    void bindFramebuffer(GLuint framebuffer);
    GLuint boundFramebuffer() const { return framebuffer_; }
    void clearColor(float r, float g, float b, float a);
    void clear();
    void enableScissor(bool on);
    void scissor(int x, int y, int width, int height);
    void flush();
    void finish();

    // ---- Textures ----
    // RGBA8 texture from premultiplied 0xAARRGGBB words (native order), rows top first; the channel order
    // is fixed by a swizzle, so that the words go up as they are. Linear filtering, clamped edges; with
    // mipmaps the minification filter is linear-mipmap-nearest. 0 when there is nothing to upload.
    GLuint createTextureFromArgb32(const std::uint32_t* pixels, int width, int height, bool mipmaps);
    // Empty RGBA8 texture, to render into.
    GLuint createRenderTexture(int width, int height, bool nearest);
    void deleteTexture(GLuint& texture);
    // Framebuffer with the texture as its colour; 0 when it is not complete.
    GLuint createFramebufferForTexture(GLuint texture);
    void deleteFramebuffer(GLuint& framebuffer);
    // Rows of the bound framebuffer as RGBA bytes, bottom row first.
    std::vector<std::uint8_t> readPixels(int x, int y, int width, int height);
    int maxTextureSize();

    // ---- Record buffers kept on the GPU ----
    // A buffer of bytes whose contents are undefined until written; 0 without a program.
    GLuint createRecordBuffer(std::size_t bytes);
    // Writes bytes at offset, which must lie inside the buffer: an upload, counted.
    void writeRecordBuffer(GLuint buffer, std::size_t offset, const void* data, std::size_t bytes);
    // Copies bytes from one buffer to another on the GPU: not an upload.
    void copyRecordBuffer(GLuint from, std::size_t fromOffset, GLuint to, std::size_t toOffset, std::size_t bytes);
    void deleteRecordBuffer(GLuint& buffer);

    // ---- Counters ----
    // Bytes sent from memory to the GPU for sprites: streamed records and writes of record buffers.
    std::uint64_t bytesUploaded() const { return bytesUploaded_; }
    std::uint64_t callCount() const { return calls_; }
    std::uint64_t drawCallCount() const { return drawCalls_; }
    std::uint64_t textureUploadCount() const { return uploads_; }

  private:
    QOpenGLExtraFunctions& f() {
        ++calls_;
        return functions_;
    }
    void useProgram(int mode, GLuint texture);
    void uploadMatrix();
    void drawSprites(const float* records, std::uint64_t count, float fixedSize);
    void setSpriteUniforms(float fixedSize);

    QOpenGLExtraFunctions functions_;
    bool isES_ = false;
    GLuint program_ = 0;
    GLuint spriteArray_ = 0;
    GLuint quadArray_ = 0;
    GLuint spriteBuffer_ = 0;
    GLuint residentArray_ = 0;
    struct Uniforms {
        GLint matrix = -1, mode = -1, pointScale = -1, fixedSize = -1, viewport = -1, corners = -1,
              texCoords = -1, color = -1, textured = -1, texture = -1;
    } u_;

    std::vector<Affine2D> stack_{Affine2D{}};
    std::array<float, 4> color_{1, 1, 1, 1};
    float attenuation_ = 1;
    GLuint texture_ = 0;
    std::array<int, 4> viewport_{0, 0, 1, 1};
    GLuint framebuffer_ = 0;
    int maxTextureSize_ = 0;

    std::uint64_t calls_ = 0;
    std::uint64_t drawCalls_ = 0;
    std::uint64_t uploads_ = 0;
    std::uint64_t bytesUploaded_ = 0;
    std::uint64_t generation_ = 0;
};

}  // namespace velumen
