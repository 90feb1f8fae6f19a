// Numbers that no sane host or stream sends, at the ends of their ranges: each has its documented result, and
// the next ordinary frame shows as if nothing had been.
#include "FrameSources.h"
#include "Harness.h"

#include <QMutexLocker>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>
#include <QVBoxLayout>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <dlfcn.h>

using namespace OvelTest;

namespace
{

bool shadersAreBroken = false;

size_t CountLines(const char* part)
{
    const std::vector<std::string> lines = TakeLogLines();
    return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(part) != std::string::npos;
    }));
}

class Hostile : public ShownRenderer
{
protected:
    void ExpectOrdinaryFrame(int layout)
    {
        const Picture picture = MakePicture(40, 30, ++seed);
        ASSERT_TRUE(window.Show(picture, layout));
        EXPECT_TRUE(window.Shows(picture, layout, View(), {}, 5));
    }

    int seed = 0;
};
OVEL_FOR_BOTH_RENDERERS(Hostile);

TEST_P(Hostile, Descriptors)
{
    struct Case {
        int width, height, type, pitch, dataSize;
        int result;
        bool refused = false; // the picture must stay
    };
    const Case cases[] = {
        {0, 8, Yv12, 0, 0, -1, true},
        {8, -1, Nv12, 0, 0, -1, true},
        {INT_MIN, INT_MIN, Yv12, INT_MIN, INT_MIN, -1, true},
        {INT_MAX, INT_MAX, Nv12, INT_MAX, INT_MAX, -1, true},
        {46341, 46341, INT_MAX, 0, 1, -1, true},
        {1 << 16, 1 << 16, Yv12, 0, 0, -1, true}, // 2^32 samples: nothing left in 32 bits
        {1 << 30, 1, Yv12, 0, 0, 0},              // fits an int, but no texture
        {1, 1 << 30, Nv12, INT_MAX, 0, 0},
        {1, 1, Nv12, -1, 0, 0},
        {3, 5, Yv12, 0, 1, 0},         // declares less than its picture
        {16, 16, Yv12, 0, 4000000, 0}, // and more
        {16, 16, Nv12, 1, 0, 0},
        {16, 17, Nv12, 16, 0, 0},
        {16, 16, Nv12, -16, INT_MIN, 0}, // upwards
        {16, 2, Nv12, INT_MIN, 0, 0},
        {16, 16, INT_MAX, 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << " x " << c.height << " type " << c.type << " pitch "
                                        << c.pitch << " size " << c.dataSize);
        for (unsigned int pointers = 0; pointers < 8; ++pointers) {
            ASSERT_NO_FATAL_FAILURE(ExpectOrdinaryFrame(pointers % 2 ? Yv12 : Nv12));
            const QImage before = window.Framebuffer();
            tagYuvFrameInfo frame = {};
            frame.iWidth = c.width;
            frame.iHeight = c.height;
            frame.iDisplayType = c.type;
            frame.iPitch = c.pitch;
            frame.iDataSize = c.dataSize;
            Sources sources;
            Promise(frame, pointers, sources);
            EXPECT_EQ(Ovel_ShowYuvFrame(window.handle, &frame, sizeof(frame)), c.result);
            ASSERT_TRUE(window.Repaint());
            EXPECT_TRUE(!c.refused || SameImage(window.Framebuffer(), before));
        }
    }
}

// The fields are public: a buffer and sizes that do not belong together are painted as far as the buffer
// goes.
TEST_P(Hostile, SizesThatTheBufferDoesNotHave)
{
    struct Case {
        const char* name;
        std::function<void(CLS_ShaderBase&)> change;
    };
    const Case cases[] = {
        {"reset with a small size",
         [](CLS_ShaderBase& r) { EXPECT_EQ(r.InnerResetYuvBuf(8000, 8000, 1000), 0); }},
        {"width", [](CLS_ShaderBase& r) { r.m_nVideoWidth = 6000; }},
        {"height", [](CLS_ShaderBase& r) { r.m_nVideoHeight = 6000; }},
        {"no size", [](CLS_ShaderBase& r) { r.m_nVideoWidth = r.m_nVideoHeight = 0; }},
        {"a negative size", [](CLS_ShaderBase& r) { r.m_nVideoWidth = -64; }},
    };
    for (const Case& c : cases) {
        for (const int layout : Layouts) {
            for (const bool otherLayout : {false, true}) {
                SCOPED_TRACE(testing::Message()
                             << c.name << ", type " << layout << ", changed " << otherLayout);
                ASSERT_NO_FATAL_FAILURE(ExpectOrdinaryFrame(layout));
                ASSERT_TRUE(window.Show(MakePicture(64, 48), layout));
                {
                    const QMutexLocker lock(&window.renderer->m_mutexYuvBuf);
                    c.change(*window.renderer);
                    window.renderer->m_pNV12Y = window.renderer->m_pYuvBuf;
                    window.renderer->m_pNV12UV = window.renderer->m_pYuvBuf;
                    if (otherLayout) {
                        window.renderer->m_nDisplayType = layout == Yv12 ? Nv12 : Yv12;
                        window.renderer->m_bNeedFreeSource = true;
                    }
                }
                ASSERT_TRUE(window.Repaint());
                ASSERT_TRUE(window.Resize(QSize(98, 66)));
                ASSERT_TRUE(window.Resize(QSize(96, 64)));
                Frame nothing(MakePicture(64, 48), layout);
                nothing.info.pYuvData = nullptr;
                ASSERT_TRUE(window.Show(std::move(nothing)));
            }
        }
    }
    ExpectOrdinaryFrame(Yv12);
}

TEST_P(Hostile, LargerThanAnyTexture)
{
    window.renderer->makeCurrent();
    GLint largest = 0;
    window.renderer->context()->functions()->glGetIntegerv(GL_MAX_TEXTURE_SIZE, &largest);
    window.renderer->doneCurrent();
    for (const int layout : Layouts) {
        for (const QSize size : {QSize(largest + 2, 2), QSize(2, largest + 2)}) {
            ASSERT_NO_FATAL_FAILURE(ExpectOrdinaryFrame(layout));
            TakeLogLines();
            for (int i = 0; i < 3; ++i) {
                ASSERT_TRUE(window.Show(PlainPicture(size.width(), size.height(), 200, 90, 40), layout));
            }
            EXPECT_EQ(CountLines("cannot be shown"), 1u);
            EXPECT_TRUE(window.IsBlack());
        }
    }
    ExpectOrdinaryFrame(Yv12);
}

TEST_P(Hostile, Commands)
{
    const double inf = HUGE_VAL, nan = NAN;
    const double numbers[] = {0, 1, -1, 0.5, nan, inf, -inf, DBL_MIN, DBL_TRUE_MIN, DBL_MAX, -DBL_MAX, 1e300};
    source.Attach(window.handle);
    const auto paints = [&] { return window.Show(MakePicture(16, 16, ++seed), Yv12); };
    for (const double a : numbers) {
        for (const double b : numbers) {
            ASSERT_EQ(window.Set(OVELCMD_SET_EZOOM_AREA, tagOvelZoomArea{a, b, b, a}), 0);
            ASSERT_EQ(window.Set(OVELCMD_SET_EZOOM_AREA, tagOvelZoomArea{a, a, b, b}), 0);
            ASSERT_TRUE(paints()) << a << " " << b;
        }
    }
    ASSERT_EQ(window.Set(OVELCMD_SET_EZOOM_AREA, tagOvelZoomArea{0, 0, 1, 1}), 0);
    // An address is not followed before Qt knows it: none of these is a widget.
    uint8_t bytes[sizeof(QWidget)] = {};
    source.records.push_back(Label("text", {0, 0, 50, 20}));
    for (void* parent : {static_cast<void*>(bytes), reinterpret_cast<void*>(1)}) {
        EXPECT_EQ(Ovel_SetParam(window.handle, OVELCMD_SET_LABEL_PARENT, parent, 1), 0);
        ASSERT_TRUE(paints());
    }
    source.records.clear();
    ExpectOrdinaryFrame(Nv12);
}

TEST_P(Hostile, ShadersThatFailAreSaidOnce)
{
    source.records = {Graph(OVEL_GRAPH_OUTLINE, 0xFF, 3, {{1, 1}, {50, 30}})};
    source.Attach(window.handle);
    TakeLogLines();
    int underLock = 0;
    WhenLogged([&](const std::string& line) {
        const bool isFailure = line.find("program failed") != std::string::npos;
        underLock += isFailure && !IsFree(window.renderer->m_mutexYuvBuf);
    });
    shadersAreBroken = true;
    for (int i = 0; i < 8; ++i) { // every change of layout builds a program anew
        EXPECT_TRUE(window.Show(MakePicture(16, 16, i), i % 4 < 2 ? Yv12 : Nv12));
    }
    shadersAreBroken = false;
    WhenLogged(nullptr);
    EXPECT_EQ(underLock, 0);
    EXPECT_FALSE(qtWarnings.Take().empty());
    EXPECT_FALSE(glErrors.Take().empty());
    EXPECT_EQ(CountLines(" program failed"), 2u) << "of pictures and of overlays";
    source.records.clear();
    QWidget other; // a new context starts afresh
    other.setGeometry(40, 40, 96, 64);
    (new QVBoxLayout(&other))->setContentsMargins(0, 0, 0, 0);
    other.layout()->addWidget(window.renderer);
    other.show();
    RunEventsFor(50);
    ExpectOrdinaryFrame(Yv12);
    window.top->layout()->addWidget(window.renderer);
}

} // namespace

// Takes the place of Qt's own, so that a driver that refuses every program can be had.
bool QOpenGLShaderProgram::addShaderFromSourceCode(QOpenGLShader::ShaderType type, const QByteArray& source)
{
    using Add = bool (*)(QOpenGLShaderProgram*, QOpenGLShader::ShaderType, const QByteArray&);
    static const auto real =
        reinterpret_cast<Add>(dlsym(RTLD_NEXT, "_ZN20QOpenGLShaderProgram23addShaderFromSourceCodeE6QFlagsIN1"
                                               "3QOpenGLShader13ShaderTypeBitEERK10QByteArray"));
    return real(this, type, shadersAreBroken ? QByteArray("no shader at all") : source);
}
