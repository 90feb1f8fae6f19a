// The registry of live renderers and their factory.
#pragma once

#include "OvelInterface.h"

class CLS_ShaderBase;
class QMutex;

// Constructs and registers the renderer of a type code. GUI thread. Null for an unknown code, without a
// QApplication, off its thread, or when the registry stays locked for 2 s (each with an error entry in the
// log).
OVEL_API CLS_ShaderBase* CreateShader(int type);
// The registered renderer at that address with its mutex, or null and mutex left alone. The caller holds the
// registry lock, for writing when the entry is to be erased; it then owns the mutex.
OVEL_API CLS_ShaderBase* FindShader(void* key, QMutex*& mutex, bool erase);
