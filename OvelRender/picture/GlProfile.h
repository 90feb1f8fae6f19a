// What the current GL context is and offers: the one place where contexts differ.
#pragma once

#include <qopengl.h>

struct PlaneFormat {
    GLint internal;
    GLenum external;
};

struct GlProfile {
    const char* vertexPrelude = ""; // what the shader texts need in front of them here
    const char* fragmentPrelude = "";
    PlaneFormat red = {};       // one channel
    PlaneFormat redGreen = {};  // two channels
    bool sizedStorage = false;  // textures take sized formats (R8, RG8)
    bool fullPrecision = false; // the same arithmetic rounds alike in every program
    bool rowLength = false;     // uploads may skip bytes between rows
    bool planes = false;        // textures of red and red-green exist at all
    int maxTextureSize = 0;

    // The current context's profile; asks GL, so call it once per context.
    static GlProfile OfCurrentContext();
};
