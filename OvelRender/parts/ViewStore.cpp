#include "ViewStore.h"

#include "picture/ColorConversion.h"
#include "picture/DisplayGeometry.h"

#include <algorithm>
#include <cstring>

namespace
{

bool SameArea(const tagOvelZoomArea& a, const tagOvelZoomArea& b)
{
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): meant, see the header
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

bool SameRotation(const tagOvelVideoRotate& a, const tagOvelVideoRotate& b)
{
    return a.iDirection == b.iDirection && a.iAngle == b.iAngle && a.iMirrorType == b.iMirrorType;
}

} // namespace

bool operator==(const ViewParameters& a, const ViewParameters& b)
{
    return SameArea(a.zoom, b.zoom) && SameArea(a.destination, b.destination) &&
           SameRotation(a.rotate, b.rotate) && IsSameColor(a.color, b.color);
}

void CopyPayload(void* value, size_t bytes, const void* data, int length)
{
    std::memcpy(value, data, std::min(static_cast<size_t>(length), bytes));
}

ViewParameters ViewStore::Get() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return {m_fields.zoom,
            m_fields.destination,
            {m_fields.rotateDirection, m_fields.rotateAngle, m_fields.mirrorType},
            m_color};
}

QRect ViewStore::DestinationPixels() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_fields.destinationPixels;
}

tagOvelZoomArea ViewStore::SetZoom(const void* data, int length)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    CopyPayload(m_fields.zoom, data, length);
    return m_fields.zoom;
}

tagOvelVideoRotate ViewStore::SetRotation(const void* data, int length)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    tagOvelVideoRotate rotate{m_fields.rotateDirection, m_fields.rotateAngle, m_fields.mirrorType};
    CopyPayload(rotate, data, length);
    m_fields.rotateDirection = rotate.iDirection;
    m_fields.rotateAngle = rotate.iAngle;
    m_fields.mirrorType = rotate.iMirrorType;
    return rotate;
}

tagOvelZoomArea ViewStore::SetDestination(const tagQRECT& rect, const QSize& widgetSize)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_fields.destinationPixels = QRect(QPoint(rect.left, rect.top), QPoint(rect.right, rect.bottom));
    if (!widgetSize.isEmpty()) {
        m_fields.destination = NormaliseRect(rect, widgetSize.width(), widgetSize.height());
    }
    return m_fields.destination;
}

bool ViewStore::SetColor(const void* data, int length)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    tagOvelColor color = m_color;
    CopyPayload(color, data, length);
    if (!IsKnownColor(color)) {
        return false;
    }
    m_color = color;
    return true;
}

void ViewStore::ResetZoom()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_fields.zoom = WholeArea;
}

void ViewStore::ResetColor()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_color = {};
}

void ViewStore::ResetDestination()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_fields.destination = WholeArea;
}

void ViewStore::NoteWidget(bool isVisible, const QSize& size)
{
    m_visibleSize =
        isVisible ? (static_cast<qint64>(size.width()) << 32) | static_cast<quint32>(size.height()) : -1;
}

QSize ViewStore::VisibleSize() const
{
    const qint64 packed = m_visibleSize;
    return packed < 0 ? QSize()
                      : QSize(static_cast<int>(packed >> 32), static_cast<int>(packed & 0xFFFFFFFF));
}
