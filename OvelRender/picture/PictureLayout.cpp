#include "PictureLayout.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr char SoftwareMessage[] =
    "ShowYuvFrame Display type is VIDEO_DISPLAY_YV12,The Player is SoftWare Player";
constexpr char DxvaMessage[] = "ShowYuvFrame Display type is VIDEO_DISPLAY_NV12,The Player is DxvaPlayer";
constexpr char ToolboxMessage[] =
    "ShowYuvFrame Display type is VIDEO_DISPLAY_VTB,The Player is HW VIDEOTOOLBOX Player";
constexpr char D3d11Message[] = "ShowYuvFrame Display type is VIDEO_DISPLAY_DXGL,The Player is D3D11Player";

constexpr LayoutTexts ThreePlaneTexts = {
    "vec2",
    "varying vec2 textureOut;\n"
    "uniform sampler2D tex_y;\n"
    "uniform sampler2D tex_u;\n"
    "uniform sampler2D tex_v;\n",
    "vec3 yuv;\n"
    "vec3 rgb;\n"
    "yuv.x = texture2D(tex_y, textureOut).r;\n"
    "yuv.y = texture2D(tex_u, textureOut).r - 0.5;\n"
    "yuv.z = texture2D(tex_v, textureOut).r - 0.5;\n"
    "rgb = mat3(1.0, 1.0, 1.0, 0.0, -0.3455, 1.779, 1.4075, -0.7169, 0) * yuv;\n",
    "vec3(texture2D(tex_y, textureOut.st).r, texture2D(tex_u, textureOut.pq).r, "
    "texture2D(tex_v, textureOut.pq).r)"};
constexpr YuvFormula ThreePlaneFormula = {0.0, 1.4075, -0.3455, -0.7169, 1.779};

constexpr LayoutTexts Nv12Texts = {
    "vec4",
    "varying highp vec4 textureOut;\n"
    "uniform sampler2D tex_y;\n"
    "uniform sampler2D tex_u;\n"
    "varying mediump float angle;\n",
    "highp vec3 yuv;\n"
    "highp vec3 rgb;\n"
    "yuv.x = texture2D(tex_y, textureOut.st).r - 0.0625;\n"
    "yuv.y = texture2D(tex_u, textureOut.st).r - 0.5;\n"
    "yuv.z = texture2D(tex_u, textureOut.st).g - 0.5;\n"
    "rgb = mat3(1, 1, 1, 0, -0.39465, 2.03211, 1.13983, -0.58060, 0) * yuv;\n",
    "vec3(texture2D(tex_y, textureOut.st).r, texture2D(tex_u, textureOut.pq).rg)"};
constexpr YuvFormula Nv12Formula = {0.0625, 1.13983, -0.39465, -0.58060, 2.03211};

constexpr PictureLayout Layouts[] = {
    {OVEL_DISPLAY_YV12,
     3,
     {{1, 1, 0}, {1, 2, 4}, {1, 2, 5}},
     ThreePlaneTexts,
     ThreePlaneFormula,
     SoftwareMessage,
     SoftwareMessage},
    {OVEL_DISPLAY_NV12, 2, {{1, 1, 0}, {2, 2, 4}, {}}, Nv12Texts, Nv12Formula, DxvaMessage, DxvaMessage},
    {5, 0, {}, {}, {}, ToolboxMessage, SoftwareMessage},
    {6, 0, {}, {}, {}, D3d11Message, D3d11Message},
    {8, 0, {}, {}, {}, ToolboxMessage, SoftwareMessage},
};
constexpr PictureLayout OtherLayout = {-1, 0, {}, {}, {}, SoftwareMessage, SoftwareMessage};

} // namespace

const PictureLayout& LayoutOf(int displayType)
{
    const auto* const row =
        std::find_if(std::begin(Layouts), std::end(Layouts), [displayType](const PictureLayout& layout) {
            return layout.displayType == displayType;
        });
    return row == std::end(Layouts) ? OtherLayout : *row;
}
