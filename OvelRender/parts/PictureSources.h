// The program and the textures of a renderer's picture: how they are made, kept and freed. GUI thread, context
// current.
#pragma once

#include "ContextPainter.h"

#include <QSharedPointer>

class QOpenGLTexture;

// The fields that both renderers keep them in.
struct SourceFields {
    QOpenGLShaderProgram*& program;
    unsigned int& nameY;
    unsigned int& nameU; // interleaved chroma for two planes
    unsigned int& nameV;
    PictureUniforms uniforms;
};

class PictureSources
{
public:
    explicit PictureSources(const SourceFields& fields) : m_fields(fields) {}
    virtual ~PictureSources() = default;
    PictureSources(const PictureSources&) = delete;
    PictureSources& operator=(const PictureSources&) = delete;

    // Makes them anew for a layout and the sizes of these planes.
    virtual void Build(ContextPainter& painter, const PictureLayout& layout, const PicturePlanes& planes) = 0;
    // Whether they serve a picture of this size.
    virtual bool Serve(int width, int height) const = 0;
    virtual void Free() = 0;
    void FreeProgram();
    // Takes the program out of its field, on any thread with the frame lock; the next paint deletes it.
    void PutProgramAside();
    void FreeProgramAside();

    // What painting needs to know of them.
    virtual PictureTarget Target() const = 0;

protected:
    PictureTarget TargetOf(TextureStorage storage) const;

    const SourceFields m_fields;

private:
    QOpenGLShaderProgram* m_aside = nullptr;
};

// Textures that painting specifies anew when the size changes.
class RespecifiedSources : public PictureSources
{
public:
    RespecifiedSources(const SourceFields& fields, QOpenGLTexture*& y, QOpenGLTexture*& u, QOpenGLTexture*& v,
                       int& drawAlpha)
        : PictureSources(fields), m_textures{&y, &u, &v}, m_drawAlpha(drawAlpha)
    {
    }
    void Build(ContextPainter& painter, const PictureLayout& layout, const PicturePlanes& planes) override;
    bool Serve(int, int) const override { return true; }
    void Free() override;
    PictureTarget Target() const override { return TargetOf(TextureStorage::Respecified); }

private:
    QOpenGLTexture** const m_textures[3];
    int& m_drawAlpha;
};

// Textures of fixed size that painting only writes into: another size needs other ones.
class FixedSources : public PictureSources
{
public:
    using Texture = QSharedPointer<QOpenGLTexture>;
    FixedSources(const SourceFields& fields, Texture& y, Texture& u, Texture& v)
        : PictureSources(fields), m_textures{&y, &u, &v}
    {
    }
    void Build(ContextPainter& painter, const PictureLayout& layout, const PicturePlanes& planes) override;
    bool Serve(int width, int height) const override;
    void Free() override;
    PictureTarget Target() const override { return TargetOf(TextureStorage::Fixed); }

private:
    Texture* const m_textures[3];
};
