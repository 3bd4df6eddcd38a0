#pragma once

#include "IMinolta.h"

#include <QString>

// The plugin as a host loads it: dlopen'd from its build path, its entry points found with dlsym.
// Free of the library's own headers (the public interface excepted), so that a host process that
// links neither the library nor Qt SerialPort can use it.
class PluginHandle {
public:
    typedef unsigned long (*CreateFn)(IMinolta**);
    typedef void (*SetCatalogueFn)(const char* const*, const char* const*, int);

    PluginHandle();
    ~PluginHandle();
    PluginHandle(const PluginHandle&) = delete;
    PluginHandle& operator=(const PluginHandle&) = delete;

    bool loaded() const { return m_handle != nullptr; }
    QString error() const { return m_error; }

    // Points the plugin's own detection at one simulated adapter.
    void pointAt(const QString& path) const;
    // Gives detection the system's port list back.
    void restoreCatalogue() const;
    // CChromameterDetector::GetInstance()->ReleaseMinolta(), reached as a host without the class's
    // header reaches it: by the exported symbols. False if they are missing.
    bool releaseMinolta() const;
    // dlclose's own result: 0 when the handle was released.
    int unload();

    // Whether the plugin is mapped in this process right now (a probe that loads nothing).
    static bool isMapped();

    CreateFn create = nullptr;
    SetCatalogueFn setCatalogue = nullptr;

private:
    void* m_handle = nullptr;
    QString m_error;
};
