#include "PluginHandle.h"

#include <QByteArray>

#include <dlfcn.h>

PluginHandle::PluginHandle() {
    m_handle = dlopen(CHROMA_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!m_handle) {
        m_error = QString::fromLocal8Bit(dlerror());
        return;
    }
    create = reinterpret_cast<CreateFn>(dlsym(m_handle, "CreateChromameterMinolta"));
    setCatalogue = reinterpret_cast<SetCatalogueFn>(dlsym(m_handle, "ChromameterSetPortCatalogue"));
}

PluginHandle::~PluginHandle() {
    unload();
}

void PluginHandle::pointAt(const QString& path) const {
    const QByteArray name = path.toUtf8();
    const char* names[] = {name.constData()};
    const char* descriptions[] = {"USB-Serial Controller"};
    setCatalogue(names, descriptions, 1);
}

void PluginHandle::restoreCatalogue() const {
    setCatalogue(nullptr, nullptr, -1);
}

bool PluginHandle::releaseMinolta() const {
    if (!m_handle)
        return false;
    // Member functions of the Itanium C++ ABI take the object as their first argument.
    typedef void* (*GetInstanceFn)();
    typedef void (*ReleaseFn)(void*);
    const auto getInstance =
        reinterpret_cast<GetInstanceFn>(dlsym(m_handle, "_ZN20CChromameterDetector11GetInstanceEv"));
    const auto release =
        reinterpret_cast<ReleaseFn>(dlsym(m_handle, "_ZN20CChromameterDetector14ReleaseMinoltaEv"));
    if (!getInstance || !release)
        return false;
    release(getInstance());
    return true;
}

int PluginHandle::unload() {
    if (!m_handle)
        return 0;
    const int result = dlclose(m_handle);
    m_handle = nullptr;
    return result;
}

bool PluginHandle::isMapped() {
    void* handle = dlopen(CHROMA_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    if (!handle)
        return false;
    dlclose(handle);
    return true;
}
