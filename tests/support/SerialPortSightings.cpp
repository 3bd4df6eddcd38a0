#include "SerialPortSightings.h"

#include <mutex>

// Qt's hook table (QtCore exports it for inspection tools): slot 3 is called with every QObject as
// its construction begins, slot 4 as its destruction begins.
extern quintptr Q_CORE_EXPORT qtHookData[];

namespace {
const int kAddQObject = 3;
const int kRemoveQObject = 4;
typedef void (*ObjectHook)(QObject*);

std::mutex g_mutex;
QList<QObject*> g_objects;
quintptr g_previousAdd = 0;
quintptr g_previousRemove = 0;

void added(QObject* object) {
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        g_objects.append(object);
    }
    if (g_previousAdd)
        reinterpret_cast<ObjectHook>(g_previousAdd)(object);
}

void removed(QObject* object) {
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        g_objects.removeAll(object);
    }
    if (g_previousRemove)
        reinterpret_cast<ObjectHook>(g_previousRemove)(object);
}
} // namespace

SerialPortSightings::SerialPortSightings() {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_objects.clear();
    g_previousAdd = qtHookData[kAddQObject];
    g_previousRemove = qtHookData[kRemoveQObject];
    qtHookData[kAddQObject] = reinterpret_cast<quintptr>(&added);
    qtHookData[kRemoveQObject] = reinterpret_cast<quintptr>(&removed);
}

SerialPortSightings::~SerialPortSightings() {
    std::lock_guard<std::mutex> lock(g_mutex);
    qtHookData[kAddQObject] = g_previousAdd;
    qtHookData[kRemoveQObject] = g_previousRemove;
    g_objects.clear();
}

QList<QSerialPort*> SerialPortSightings::ports() const {
    // Seen when their construction began; by now those still alive are whole objects.
    QList<QObject*> objects;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        objects = g_objects;
    }
    QList<QSerialPort*> found;
    for (QObject* object : objects)
        if (QSerialPort* port = qobject_cast<QSerialPort*>(object))
            found.append(port);
    return found;
}
