#include "GlProfile.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>

namespace
{

// Desktop contexts without the deprecated functions know neither attributes and varyings by these names nor
// gl_FragColor.
bool IsCoreContext(const QOpenGLContext& context)
{
    const QSurfaceFormat format = context.format();
    if (context.isOpenGLES() || format.version() < qMakePair(3, 1)) {
        return false;
    }
    if (format.profile() == QSurfaceFormat::NoProfile) {
        return !context.hasExtension(QByteArrayLiteral("GL_ARB_compatibility"));
    }
    return format.profile() == QSurfaceFormat::CoreProfile;
}

void UseCoreShaders(GlProfile& profile)
{
    profile.vertexPrelude = "#version 140\n"
                            "#define attribute in\n"
                            "#define varying out\n";
    profile.fragmentPrelude = "#version 140\n"
                              "#define varying in\n"
                              "#define texture2D texture\n"
                              "#define gl_FragColor ovelFragColor\n"
                              "out vec4 ovelFragColor;\n";
}

} // namespace

GlProfile GlProfile::OfCurrentContext()
{
    GlProfile profile;
    QOpenGLContext& context = *QOpenGLContext::currentContext();
    const bool es = context.isOpenGLES();
    const bool version3 = context.format().majorVersion() >= 3;

    if (IsCoreContext(context)) {
        UseCoreShaders(profile);
    }
    if (es && version3) {
        // ES 3 knows red and red-green, but not as unsized internal formats.
        profile.red = {GL_R8, GL_RED};
        profile.redGreen = {GL_RG8, GL_RG};
    } else {
        profile.red = {GL_RED, GL_RED};
        profile.redGreen = {GL_RG, GL_RG};
    }
    profile.fullPrecision = !es;
    profile.sizedStorage = version3 || !es;
    profile.rowLength = version3 || !es;
    profile.planes = version3 || context.hasExtension(es ? QByteArrayLiteral("GL_EXT_texture_rg")
                                                         : QByteArrayLiteral("GL_ARB_texture_rg"));
    context.functions()->glGetIntegerv(GL_MAX_TEXTURE_SIZE, &profile.maxTextureSize);
    return profile;
}
