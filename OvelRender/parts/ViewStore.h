// How the picture is to be seen: what commands store and painting reads, handed over as one, and the widget's
// size for those who are not on the GUI thread. Any thread.
#pragma once

#include "OvelInterface.h"

#include <QRect>
#include <QSize>

#include <atomic>
#include <mutex>

struct ViewParameters {
    tagOvelZoomArea zoom;
    tagOvelZoomArea destination;
    tagOvelVideoRotate rotate;
    tagOvelColor color;
};
// By bytes where numbers may be none, so that such a view equals itself.
bool operator==(const ViewParameters& a, const ViewParameters& b);

// The fields that the commands write.
struct ViewFields {
    tagOvelZoomArea& zoom;
    QRect& destinationPixels;
    tagOvelZoomArea& destination;
    int& rotateDirection;
    int& rotateAngle;
    int& mirrorType;
};

class ViewStore
{
public:
    explicit ViewStore(const ViewFields& fields) : m_fields(fields) {}
    ViewStore(const ViewStore&) = delete;
    ViewStore& operator=(const ViewStore&) = delete;

    ViewParameters Get() const;
    QRect DestinationPixels() const;

    // A payload over the leading bytes of what is stored; returns what is stored now.
    tagOvelZoomArea SetZoom(const void* data, int length);
    tagOvelVideoRotate SetRotation(const void* data, int length);
    // The rectangle, and its fractions of the widget unless that is empty; returns the fractions stored now.
    tagOvelZoomArea SetDestination(const tagQRECT& rect, const QSize& widgetSize);
    // False, and nothing is stored, when that would be no known description.
    bool SetColor(const void* data, int length);
    void ResetZoom();
    void ResetColor();
    void ResetDestination();

    // What the GUI thread saw last. A hidden widget is resized without an event: only Qt knows its size.
    void NoteWidget(bool isVisible, const QSize& size);
    bool IsVisible() const { return m_visibleSize >= 0; }
    // The visible widget's size; empty when it is hidden.
    QSize VisibleSize() const;

private:
    mutable std::mutex m_mutex; // a leaf, held only to copy
    const ViewFields m_fields;
    tagOvelColor m_color = {};
    std::atomic<qint64> m_visibleSize{-1};
};

// A payload over the leading bytes of a value.
void CopyPayload(void* value, size_t bytes, const void* data, int length);
template <typename Value> void CopyPayload(Value& value, const void* data, int length)
{
    static_assert(std::is_trivially_copyable_v<Value>);
    CopyPayload(&value, sizeof(value), data, length);
}
