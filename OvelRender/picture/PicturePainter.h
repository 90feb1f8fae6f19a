// Shows pictures: brings their planes into textures and draws them as a quad.
#pragma once

#include "PictureProgram.h"
#include "PlaneTextures.h"
#include "VertexStream.h"

#include <QSize>

#include <array>

// How the textures are kept: specified anew when the size changes, or of fixed size and only written into.
enum class TextureStorage { Respecified, Fixed };

// A program of the renderer that shows the picture. Its matrix, if it has one, turns the view.
struct RendererProgram {
    QOpenGLShaderProgram& program;
    int matrixLocation; // -1: none
};

class PicturePainter
{
public:
    // All need the context current.

    // Binds the textures to their units, with the planes of picture `serial` (not 0) in them. True when that
    // needed reading them.
    bool Upload(const GlProfile& profile, const PicturePlanes& planes, const unsigned int (&textures)[3],
                TextureStorage storage, quint64 serial);
    // The textures are others now, or for another layout, without a picture.
    void ForgetUpload() { m_uploaded = 0; }

    // Draws the uploaded picture in its colours, turned and mirrored, row 0 of the frame at the top edge of
    // the quad. No program is in use afterwards.
    void Draw(const GlProfile& profile, const PictureLayout& layout, const tagOvelColor& color,
              const RendererProgram& renderer, const float (&vertices)[8], const tagOvelVideoRotate& rotate);

    // Why the program of a colour could not be built, once per program; else empty. The picture is then shown
    // by the layout's own formula.
    QString TakeFailure();

    // Before the context goes, and before the end.
    void Free();

private:
    bool BindOwnProgram(const GlProfile& profile, const PictureLayout& layout, const tagOvelColor& color);
    void DrawQuad(const float (&vertices)[8], const tagOvelVideoRotate& rotate, const ChromaSpan& chroma);

    quint64 m_uploaded = 0; // the picture in the textures; 0: none
    QSize m_uploadedSize;
    std::unique_ptr<ShaderProgram> m_own;
    int m_ownType = 0; // display type that it shows
    tagOvelColor m_ownColor = {};
    QString m_failure;
    VertexStream m_stream;
    std::array<float, 24> m_loaded = {};
    bool m_isLoaded = false;
};
