#include "render/GLLayer.h"

#include <QOpenGLContext>
#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace velumen {

namespace {

// One body for desktop and ES; the version line is put in front at run time. Mode 0 draws an instanced
// quad per record, mode 1 the textured quad whose corners come as uniforms.
constexpr const char* kVertexBody = R"(
uniform mat3 u_matrix;
uniform int u_mode;
uniform float u_pointScale;
uniform float u_fixedSize;
uniform vec2 u_viewport;
uniform vec2 u_corners[4];
uniform vec2 u_texCoords[4];
layout(location = 0) in vec2 position;
layout(location = 1) in float size;
out vec2 v_texCoord;
void main() {
    if (u_mode == 0) {
        vec2 corner = vec2(float(gl_VertexID & 1), float(gl_VertexID >> 1));
        float s = u_fixedSize >= 0.0 ? u_fixedSize : size;
        float diameter = max(s * u_pointScale, 1.0);
        vec3 centre = u_matrix * vec3(position, 1.0);
        gl_Position = vec4(centre.xy + (corner - 0.5) * (2.0 * diameter) / u_viewport, 0.0, 1.0);
        v_texCoord = vec2(corner.x, 1.0 - corner.y);
    } else {
        vec3 p = u_matrix * vec3(u_corners[gl_VertexID], 1.0);
        gl_Position = vec4(p.xy, 0.0, 1.0);
        v_texCoord = u_texCoords[gl_VertexID];
    }
}
)";

constexpr const char* kFragmentBody = R"(
uniform sampler2D u_texture;
uniform int u_textured;
uniform vec4 u_color;
in vec2 v_texCoord;
out vec4 fragColor;
void main() {
    fragColor = u_textured != 0 ? u_color * texture(u_texture, v_texCoord) : u_color;
}
)";

}  // namespace

Affine2D Affine2D::then(const Affine2D& o) const {
    Affine2D r;
    r.a = o.a * a + o.c * b;
    r.b = o.b * a + o.d * b;
    r.c = o.a * c + o.c * d;
    r.d = o.b * c + o.d * d;
    r.tx = o.a * tx + o.c * ty + o.tx;
    r.ty = o.b * tx + o.d * ty + o.ty;
    return r;
}

bool GLLayer::initialize(QOpenGLContext* context) {
    if (!context) return false;
    ++generation_;
    functions_.initializeOpenGLFunctions();
    isES_ = context->isOpenGLES();
    const std::string version =
        isES_ ? "#version 300 es\nprecision highp float;\nprecision highp int;\n" : "#version 330 core\n";

    auto compile = [&](GLenum type, const char* body) -> GLuint {
        const std::string source = version + body;
        const char* text = source.c_str();
        GLuint shader = f().glCreateShader(type);
        f().glShaderSource(shader, 1, &text, nullptr);
        f().glCompileShader(shader);
        GLint ok = 0;
        f().glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
        if (!ok) {
            f().glDeleteShader(shader);
            return 0;
        }
        return shader;
    };
    const GLuint vs = compile(GL_VERTEX_SHADER, kVertexBody);
    const GLuint fs = compile(GL_FRAGMENT_SHADER, kFragmentBody);
    if (!vs || !fs) {
        if (vs) f().glDeleteShader(vs);
        if (fs) f().glDeleteShader(fs);
        return false;
    }
    GLuint program = f().glCreateProgram();
    f().glAttachShader(program, vs);
    f().glAttachShader(program, fs);
    f().glLinkProgram(program);
    f().glDeleteShader(vs);
    f().glDeleteShader(fs);
    GLint linked = 0;
    f().glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (!linked) {
        f().glDeleteProgram(program);
        return false;
    }
    program_ = program;
    auto loc = [&](const char* name) { return f().glGetUniformLocation(program_, name); };
    u_.matrix = loc("u_matrix");
    u_.mode = loc("u_mode");
    u_.pointScale = loc("u_pointScale");
    u_.fixedSize = loc("u_fixedSize");
    u_.viewport = loc("u_viewport");
    u_.corners = loc("u_corners");
    u_.texCoords = loc("u_texCoords");
    u_.color = loc("u_color");
    u_.textured = loc("u_textured");
    u_.texture = loc("u_texture");
    f().glUseProgram(program_);
    f().glUniform1i(u_.texture, 0);

    // Sprites read the records where they lie: x and y at offset 0, size at offset 8, one record per
    // instance. The quad has no attributes at all.
    f().glGenVertexArrays(1, &spriteArray_);
    f().glGenVertexArrays(1, &quadArray_);
    f().glGenBuffers(1, &spriteBuffer_);
    f().glBindVertexArray(spriteArray_);
    f().glBindBuffer(GL_ARRAY_BUFFER, spriteBuffer_);
    f().glEnableVertexAttribArray(0);
    f().glEnableVertexAttribArray(1);
    f().glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 12, nullptr);
    f().glVertexAttribPointer(1, 1, GL_FLOAT, GL_FALSE, 12, reinterpret_cast<const void*>(8));
    f().glVertexAttribDivisor(0, 1);
    f().glVertexAttribDivisor(1, 1);
    // The same records read from buffers kept on the GPU: the pointers are set at each draw.
    f().glGenVertexArrays(1, &residentArray_);
    f().glBindVertexArray(residentArray_);
    f().glEnableVertexAttribArray(0);
    f().glEnableVertexAttribArray(1);
    f().glVertexAttribDivisor(0, 1);
    f().glVertexAttribDivisor(1, 1);
    f().glBindVertexArray(0);
    f().glBindBuffer(GL_ARRAY_BUFFER, 0);

    // The editor's only blend function: everything that reaches GL is premultiplied.
    f().glDisable(GL_DITHER);
    f().glDisable(GL_DEPTH_TEST);
    f().glEnable(GL_BLEND);
    f().glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    f().glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxTextureSize_);
    return true;
}

void GLLayer::release() {
    if (program_) f().glDeleteProgram(program_);
    if (spriteArray_) f().glDeleteVertexArrays(1, &spriteArray_);
    if (quadArray_) f().glDeleteVertexArrays(1, &quadArray_);
    if (spriteBuffer_) f().glDeleteBuffers(1, &spriteBuffer_);
    if (residentArray_) f().glDeleteVertexArrays(1, &residentArray_);
    program_ = spriteArray_ = quadArray_ = spriteBuffer_ = residentArray_ = 0;
}

// ---- Projection stack ----

void GLLayer::loadOrtho(double width, double height) {
    Affine2D m;
    m.a = width > 0 ? 2.0 / width : 0.0;
    m.d = height > 0 ? -2.0 / height : 0.0;
    m.tx = -1.0;
    m.ty = 1.0;
    stack_.back() = m;
}

void GLLayer::pushMatrix() {
    stack_.push_back(stack_.back());
}

void GLLayer::popMatrix() {
    if (stack_.size() > 1) stack_.pop_back();
}

void GLLayer::translatef(double x, double y) {
    Affine2D t;
    t.tx = x;
    t.ty = y;
    stack_.back() = t.then(stack_.back());
}

void GLLayer::scalef(double sx, double sy) {
    Affine2D s;
    s.a = sx;
    s.d = sy;
    stack_.back() = s.then(stack_.back());
}

float GLLayer::pointScale() const {
    if (!(attenuation_ > 0)) return 1.0f;
    return std::sqrt(1.0f / attenuation_);
}

// ---- Drawing ----

void GLLayer::uploadMatrix() {
    const Affine2D& m = stack_.back();
    const GLfloat values[9] = {static_cast<GLfloat>(m.a),  static_cast<GLfloat>(m.b),  0.0f,
                               static_cast<GLfloat>(m.c),  static_cast<GLfloat>(m.d),  0.0f,
                               static_cast<GLfloat>(m.tx), static_cast<GLfloat>(m.ty), 1.0f};
    f().glUniformMatrix3fv(u_.matrix, 1, GL_FALSE, values);
}

void GLLayer::useProgram(int mode, GLuint texture) {
    f().glUseProgram(program_);
    uploadMatrix();
    f().glUniform1i(u_.mode, mode);
    f().glUniform4f(u_.color, color_[0], color_[1], color_[2], color_[3]);
    f().glUniform1i(u_.textured, texture != 0 ? 1 : 0);
    f().glActiveTexture(GL_TEXTURE0);
    f().glBindTexture(GL_TEXTURE_2D, texture);
}

void GLLayer::setSpriteUniforms(float fixedSize) {
    useProgram(0, texture_);
    f().glUniform1f(u_.pointScale, pointScale());
    f().glUniform1f(u_.fixedSize, fixedSize);
    f().glUniform2f(u_.viewport, static_cast<float>(viewport_[2]), static_cast<float>(viewport_[3]));
}

void GLLayer::drawSprites(const float* records, std::uint64_t count, float fixedSize) {
    if (!program_ || !records || count == 0) return;
    setSpriteUniforms(fixedSize);
    f().glBindVertexArray(spriteArray_);
    f().glBindBuffer(GL_ARRAY_BUFFER, spriteBuffer_);
    // The run's records go to the GPU as they are stored: no conversion, no copy of our own.
    f().glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(count * 12), records, GL_STREAM_DRAW);
    bytesUploaded_ += count * 12;
    f().glDrawArraysInstanced(GL_TRIANGLE_STRIP, 0, 4, static_cast<GLsizei>(count));
    ++drawCalls_;
    f().glBindVertexArray(0);
    f().glBindTexture(GL_TEXTURE_2D, 0);
}

void GLLayer::drawPointsFromBuffer(GLuint buffer, std::size_t byteOffset, std::uint64_t count) {
    if (!program_ || !buffer || count == 0) return;
    setSpriteUniforms(-1.0f);
    f().glBindVertexArray(residentArray_);
    f().glBindBuffer(GL_ARRAY_BUFFER, buffer);
    const auto* base = reinterpret_cast<const std::uint8_t*>(static_cast<std::uintptr_t>(byteOffset));
    f().glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 12, base);
    f().glVertexAttribPointer(1, 1, GL_FLOAT, GL_FALSE, 12, base + 8);
    f().glDrawArraysInstanced(GL_TRIANGLE_STRIP, 0, 4, static_cast<GLsizei>(count));
    ++drawCalls_;
    f().glBindVertexArray(0);
    f().glBindBuffer(GL_ARRAY_BUFFER, 0);
    f().glBindTexture(GL_TEXTURE_2D, 0);
}

void GLLayer::drawPoints(const float* records, std::uint64_t count) {
    drawSprites(records, count, -1.0f);
}

void GLLayer::drawPointsWithSize(const float* records, std::uint64_t count, float size) {
    drawSprites(records, count, std::max(size, 0.0f));
}

void GLLayer::renderTexture(GLuint texture, const Rect& rect, float alpha, float rotation, bool flipped) {
    if (!program_) return;
    const float x = static_cast<float>(rect.x), y = static_cast<float>(rect.y);
    const float w = static_cast<float>(rect.width), h = static_cast<float>(rect.height);
    GLfloat corners[8] = {x, y + h, x + w, y + h, x, y, x + w, y};
    if (rotation != 0) {
        // About the rect's own centre.
        const double cx = rect.x + rect.width / 2, cy = rect.y + rect.height / 2;
        const double cs = std::cos(static_cast<double>(rotation)),
                     sn = std::sin(static_cast<double>(rotation));
        const double local[8] = {-w / 2.0, h / 2.0, w / 2.0, h / 2.0, -w / 2.0, -h / 2.0, w / 2.0, -h / 2.0};
        for (int i = 0; i < 4; ++i) {
            const double lx = local[2 * i], ly = local[2 * i + 1];
            corners[2 * i] = static_cast<GLfloat>(cx + cs * lx - sn * ly);
            corners[2 * i + 1] = static_cast<GLfloat>(cy + sn * lx + cs * ly);
        }
    }
    const GLfloat up[8] = {0, 1, 1, 1, 0, 0, 1, 0};
    const GLfloat down[8] = {0, 0, 1, 0, 0, 1, 1, 1};
    const std::array<float, 4> saved = color_;
    color_ = {alpha, alpha, alpha, alpha};
    useProgram(1, texture);
    color_ = saved;
    f().glUniform2fv(u_.corners, 4, corners);
    f().glUniform2fv(u_.texCoords, 4, flipped ? down : up);
    f().glBindVertexArray(quadArray_);
    f().glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    ++drawCalls_;
    f().glBindVertexArray(0);
    f().glBindTexture(GL_TEXTURE_2D, 0);
}

bool GLLayer::isOutsideViewport(float minX, float minY, float maxX, float maxY, float maxSize) const {
    return viewportTest().isOutside(minX, minY, maxX, maxY, maxSize);
}

GLLayer::ViewportTest GLLayer::viewportTest() const {
    // Clip space to pixels: (clip + 1) / 2 times the viewport's size.
    const Affine2D& m = stack_.back();
    ViewportTest t;
    t.width = viewport_[2];
    t.height = viewport_[3];
    const double hx = 0.5 * t.width, hy = 0.5 * t.height;
    t.ax = m.a * hx, t.cx = m.c * hx, t.tx = (m.tx + 1.0) * hx;
    t.by = m.b * hy, t.dy = m.d * hy, t.ty = (m.ty + 1.0) * hy;
    t.pointScale = pointScale();
    return t;
}

bool GLLayer::ViewportTest::isOutside(float minX, float minY, float maxX, float maxY, float maxSize) const {
    if (!(minX <= maxX) || !(minY <= maxY)) return true;  // no centre at all
    // Half the largest diameter, and one pixel more for the rounding of the rasteriser.
    const double radius = std::max(static_cast<double>(maxSize) * pointScale, 1.0) * 0.5 + 1.0;
    if (!std::isfinite(radius)) return false;
    // The pixel extent of the box's corners: each coordinate is linear, so its ends lie at the box's ends.
    const double x0 = static_cast<double>(minX), x1 = static_cast<double>(maxX);
    const double y0 = static_cast<double>(minY), y1 = static_cast<double>(maxY);
    const double px0 = std::min(ax * x0, ax * x1) + std::min(cx * y0, cx * y1) + tx;
    const double px1 = std::max(ax * x0, ax * x1) + std::max(cx * y0, cx * y1) + tx;
    const double py0 = std::min(by * x0, by * x1) + std::min(dy * y0, dy * y1) + ty;
    const double py1 = std::max(by * x0, by * x1) + std::max(dy * y0, dy * y1) + ty;
    return px1 + radius < 0 || px0 - radius > width || py1 + radius < 0 || py0 - radius > height;
}

// ---- Record buffers ----

GLuint GLLayer::createRecordBuffer(std::size_t bytes) {
    if (!program_ || bytes == 0) return 0;
    GLuint buffer = 0;
    f().glGenBuffers(1, &buffer);
    f().glBindBuffer(GL_ARRAY_BUFFER, buffer);
    f().glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(bytes), nullptr, GL_DYNAMIC_DRAW);
    f().glBindBuffer(GL_ARRAY_BUFFER, 0);
    return buffer;
}

void GLLayer::writeRecordBuffer(GLuint buffer, std::size_t offset, const void* data, std::size_t bytes) {
    if (!buffer || !data || bytes == 0) return;
    f().glBindBuffer(GL_ARRAY_BUFFER, buffer);
    f().glBufferSubData(GL_ARRAY_BUFFER, static_cast<GLintptr>(offset), static_cast<GLsizeiptr>(bytes), data);
    f().glBindBuffer(GL_ARRAY_BUFFER, 0);
    bytesUploaded_ += bytes;
}

void GLLayer::copyRecordBuffer(GLuint from, std::size_t fromOffset, GLuint to, std::size_t toOffset,
                               std::size_t bytes) {
    if (!from || !to || bytes == 0) return;
    f().glBindBuffer(GL_COPY_READ_BUFFER, from);
    f().glBindBuffer(GL_COPY_WRITE_BUFFER, to);
    f().glCopyBufferSubData(GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, static_cast<GLintptr>(fromOffset),
                            static_cast<GLintptr>(toOffset), static_cast<GLsizeiptr>(bytes));
    f().glBindBuffer(GL_COPY_READ_BUFFER, 0);
    f().glBindBuffer(GL_COPY_WRITE_BUFFER, 0);
}

void GLLayer::deleteRecordBuffer(GLuint& buffer) {
    if (buffer) f().glDeleteBuffers(1, &buffer);
    buffer = 0;
}

// ---- Framebuffers and state ----

void GLLayer::viewport(int x, int y, int width, int height) {
    viewport_ = {x, y, width, height};
    f().glViewport(x, y, width, height);
}

void GLLayer::bindFramebuffer(GLuint framebuffer) {
    framebuffer_ = framebuffer;
    f().glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
}

void GLLayer::clearColor(float r, float g, float b, float a) {
    f().glClearColor(r, g, b, a);
}

void GLLayer::clear() {
    f().glClear(GL_COLOR_BUFFER_BIT);
}

void GLLayer::enableScissor(bool on) {
    if (on) {
        f().glEnable(GL_SCISSOR_TEST);
    } else {
        f().glDisable(GL_SCISSOR_TEST);
    }
}

void GLLayer::scissor(int x, int y, int width, int height) {
    f().glScissor(x, y, std::max(width, 0), std::max(height, 0));
}

void GLLayer::flush() {
    f().glFlush();
}

void GLLayer::finish() {
    f().glFinish();
}

// ---- Textures ----

GLuint GLLayer::createTextureFromArgb32(const std::uint32_t* pixels, int width, int height, bool mipmaps) {
    if (!pixels || width <= 0 || height <= 0) return 0;
    GLuint texture = 0;
    f().glGenTextures(1, &texture);
    f().glBindTexture(GL_TEXTURE_2D, texture);
    f().glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    f().glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, mipmaps ? GL_LINEAR_MIPMAP_NEAREST : GL_LINEAR);
    f().glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    f().glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    // The words are B, G, R, A bytes in memory: read them as RGBA and swap red and blue on sampling.
    f().glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_R, GL_BLUE);
    f().glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_B, GL_RED);
    f().glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    f().glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    ++uploads_;
    if (mipmaps) f().glGenerateMipmap(GL_TEXTURE_2D);
    f().glBindTexture(GL_TEXTURE_2D, 0);
    return texture;
}

GLuint GLLayer::createRenderTexture(int width, int height, bool nearest) {
    if (width <= 0 || height <= 0) return 0;
    GLuint texture = 0;
    f().glGenTextures(1, &texture);
    f().glBindTexture(GL_TEXTURE_2D, texture);
    const GLint filter = nearest ? GL_NEAREST : GL_LINEAR;
    f().glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
    f().glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
    f().glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    f().glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    f().glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    f().glBindTexture(GL_TEXTURE_2D, 0);
    return texture;
}

void GLLayer::deleteTexture(GLuint& texture) {
    if (texture) f().glDeleteTextures(1, &texture);
    texture = 0;
}

GLuint GLLayer::createFramebufferForTexture(GLuint texture) {
    if (!texture) return 0;
    GLuint framebuffer = 0;
    f().glGenFramebuffers(1, &framebuffer);
    f().glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    f().glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    const GLenum status = f().glCheckFramebufferStatus(GL_FRAMEBUFFER);
    f().glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    if (status != GL_FRAMEBUFFER_COMPLETE) {
        f().glDeleteFramebuffers(1, &framebuffer);
        return 0;
    }
    return framebuffer;
}

void GLLayer::deleteFramebuffer(GLuint& framebuffer) {
    if (framebuffer) {
        if (framebuffer_ == framebuffer) bindFramebuffer(0);
        f().glDeleteFramebuffers(1, &framebuffer);
    }
    framebuffer = 0;
}

std::vector<std::uint8_t> GLLayer::readPixels(int x, int y, int width, int height) {
    if (width <= 0 || height <= 0) return {};
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    f().glPixelStorei(GL_PACK_ALIGNMENT, 4);
    f().glReadPixels(x, y, width, height, GL_RGBA, GL_UNSIGNED_BYTE, bytes.data());
    return bytes;
}

int GLLayer::maxTextureSize() {
    if (maxTextureSize_ <= 0 && program_) f().glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxTextureSize_);
    return maxTextureSize_;
}

}  // namespace velumen
