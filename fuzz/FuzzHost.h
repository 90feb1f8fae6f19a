// A host for the fuzz targets: one renderer of each class that lives through all inputs, so that state
// carried from one input to the next is fuzzed too, and a reader that cuts inputs into numbers.
#pragma once

#include "CLS_ShaderBase.h"
#include "OssdkRecorder.h"

#include <QApplication>
#include <QImage>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

class InputReader
{
public:
    InputReader(const uint8_t* data, size_t size) : m_data(data), m_left(size) {}
    bool IsAtEnd() const { return m_left == 0; }
    // What is missing at the end reads as zero.
    template <typename Number> Number Take()
    {
        Number number = {};
        const size_t bytes = m_left < sizeof(number) ? m_left : sizeof(number);
        TakeBytes(&number, bytes);
        return number;
    }
    size_t TakeBytes(void* to, size_t bytes)
    {
        bytes = bytes < m_left ? bytes : m_left;
        if (bytes == 0) {
            return 0;
        }
        std::memcpy(to, m_data, bytes);
        m_data += bytes;
        m_left -= bytes;
        return bytes;
    }

private:
    const uint8_t* m_data;
    size_t m_left;
};

class FuzzHost
{
public:
    static FuzzHost& Instance()
    {
        static auto* host = new FuzzHost;
        return *host;
    }

    CLS_ShaderBase* Renderer(unsigned int choice) { return m_renderers[choice % 2]; }

    static int ShowFrame(void* handle, int layout)
    {
        static uint8_t bytes[16 * 16 * 3 / 2] = {};
        tagYuvFrameInfo frame = {};
        frame.pYuvData = bytes;
        frame.iWidth = frame.iHeight = 16;
        frame.iDisplayType = layout;
        return Ovel_ShowYuvFrame(handle, &frame, sizeof(frame));
    }

    // Paints the picture, or the widget with its labels; a platform without GL paints nothing.
    static void Paint(CLS_ShaderBase& renderer, bool withLabels)
    {
        renderer.grabFramebuffer();
        if (withLabels) {
            renderer.grab();
        }
        Settle();
    }

    static void Settle()
    {
        QCoreApplication::processEvents();
        TakeLogLines();
    }

    static void Require(bool holds)
    {
        if (!holds) {
            std::abort();
        }
    }

private:
    FuzzHost()
    {
        static int argc = 1;
        static char name[] = "fuzz";
        static char* argv[] = {name, nullptr};
        if (qEnvironmentVariableIsEmpty("DISPLAY")) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
        }
        new QApplication(argc, argv);
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
        for (int i = 0; i < 2; ++i) {
            int type = i == 0 ? OVEL_RENDER_FULL : OVEL_RENDER_SUB_IMAGE;
            m_renderers[i] = static_cast<CLS_ShaderBase*>(Ovel_CreateEx(&type, sizeof(type)));
            m_renderers[i]->resize(64, 48);
        }
    }

    CLS_ShaderBase* m_renderers[2] = {};
};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
