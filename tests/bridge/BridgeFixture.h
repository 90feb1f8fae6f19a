// What the bridge tests share: the stand-ins' directories, standard error, and the library as it was before.
#pragma once

#include "OvelOsSdk.h"
#include "Recording.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include <dlfcn.h>
#include <link.h>

inline const std::string RecordingDir = RECORDING_DIR;
inline const std::string LackingDir = LACKING_DIR;

// What `action` writes to standard error.
template <typename Action> std::string Notices(Action&& action)
{
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

// Takes a notice, a line number and a name, off the front of a text; whether it was there.
inline bool TakeNotice(std::string& text, const std::string& name)
{
    const size_t comma = text.find_first_not_of("0123456789");
    if (comma == std::string::npos || comma == 0 || text[0] == '0' ||
        text.compare(comma, name.size() + 1, "," + name) != 0) {
        return false;
    }
    text.erase(0, comma + 1 + name.size());
    return true;
}

inline bool IsNotice(std::string text, const std::string& name)
{
    return TakeNotice(text, name) && text.empty();
}

// The path under which the dynamic loader holds a file; empty if it does not.
inline std::string MappedPath(const std::string& file)
{
    void* handle = dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle == nullptr) {
        return {};
    }
    link_map* map = nullptr;
    dlinfo(handle, RTLD_DI_LINKMAP, &map);
    std::string path = map->l_name;
    dlclose(handle);
    return path;
}

class BridgeTest : public testing::Test
{
protected:
    void TearDown() override
    {
        Notices([] { ReleaseOSSDK(); });
    }

    // The recording of a loaded stand-in, emptied.
    static Recording& Load(const std::string& dir)
    {
        EXPECT_EQ(LoadOSSDK(dir.c_str()), 0);
        void* handle = dlopen((dir + "/libossdk.so").c_str(), RTLD_LAZY | RTLD_NOLOAD);
        auto* recording = reinterpret_cast<Recording* (*)()>(dlsym(handle, "recording"))();
        dlclose(handle);
        *recording = {};
        return *recording;
    }
};
