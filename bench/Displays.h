// What shows video: renderers of the library, and the thinnest widget that can show the same pictures.
#pragma once

#include "OvelInterface.h"

#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>
#include <QOpenGLWidget>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class QLabel;

namespace Bench
{

// One picture of several, so that no two frames in a row are the same.
struct Frame {
    Frame(int displayType, int width, int height, int pitch, unsigned int seed, bool separatePlanes = false);
    tagYuvFrameInfo info = {};
    tagOvelFrameRef reference = {}; // the same picture
    size_t PictureBytes() const;

private:
    std::vector<uint8_t> m_bytes;
};
std::vector<Frame> Clip(int displayType, int width, int height, int pitch = 0, bool separatePlanes = false);

using Records = std::vector<__tagQDrawGraphInfo>;

class Display
{
public:
    virtual ~Display() = default;
    virtual QOpenGLWidget* Widget() = 0;
    virtual void Feed(const Frame& frame) = 0;           // any thread; returns when the frame may be reused
    virtual void SetRecords(const Records* records) = 0; // overlays and labels of frames from now on
    void CountSwaps();
    std::atomic<int> swaps{0};
    std::atomic<double> lastSwap{0}; // wall clock
};

// The functions of one build of the library.
struct Library {
    explicit Library(const std::string& path);
    decltype(&Ovel_CreateEx) create;
    decltype(&Ovel_Release) release;
    decltype(&Ovel_ShowYuvFrame) show;
    decltype(&Ovel_ShowYuvFrameRef) lend; // null in builds that do not have it
    decltype(&Ovel_SetParam) set;
};

class LibraryDisplay : public Display
{
public:
    // One that lends reads the frame until the next one.
    explicit LibraryDisplay(const Library& library, int typeCode = OVEL_RENDER_FULL, bool lends = false);
    ~LibraryDisplay() override;
    QOpenGLWidget* Widget() override { return static_cast<QOpenGLWidget*>(m_handle); }
    void Feed(const Frame& frame) override;
    void SetRecords(const Records* records) override;

private:
    const Library& m_library;
    void* m_handle;
    const bool m_lends;
};

// Three textures updated in place and one quad; overlays in a bare loop of one draw per record, labels as
// plain QLabels.
class ThinWidget : public QOpenGLWidget, protected QOpenGLFunctions
{
public:
    ThinWidget();
    ~ThinWidget() override;
    void Feed(const Frame& frame, bool copies);
    const Records* records = nullptr;
    bool atOnce = false; // all lines in one draw, all shapes in another, whatever lies on top of what

protected:
    void initializeGL() override;
    void paintGL() override;

private:
    void Upload();
    void DrawRecords();
    void DrawRecordsAtOnce();

    std::mutex m_gate; // held by a paint that waits for the frame: it goes before further frames
    std::mutex m_mutex;
    std::vector<uint8_t> m_copy;
    const uint8_t* m_bytes = nullptr;
    int m_width = 0;
    int m_height = 0;
    bool m_nv12 = false;
    bool m_isNew = false;
    bool m_hasStorage = false;
    GLuint m_textures[3] = {};
    QOpenGLShaderProgram m_picture;
    QOpenGLShaderProgram m_flat;
    QOpenGLShaderProgram m_colored;
    struct Vertex {
        float x, y;
        uint8_t color[4];
    };
    std::vector<Vertex> m_vertices[2]; // lines, triangles
    int m_color = -1;
};

class ThinDisplay : public Display
{
public:
    // One that copies can be fed from any thread; one that does not reads the host's frame while painting.
    explicit ThinDisplay(bool copies = true, bool atOnce = false) : m_copies(copies)
    {
        m_widget.atOnce = atOnce;
    }
    QOpenGLWidget* Widget() override { return &m_widget; }
    void Feed(const Frame& frame) override;
    void SetRecords(const Records* records) override;

private:
    void ShowFrame();
    void SetLabels();

    ThinWidget m_widget;
    std::atomic<bool> m_isAsked{false}; // the GUI thread has been asked and has not answered yet
    const bool m_copies;
    std::vector<QLabel*> m_labels;
};

} // namespace Bench
