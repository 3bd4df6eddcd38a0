// The built plugin as a host sees it: what it exports, and what a host loading it with dlopen gets.
#include "ChromameterDetector.h"
#include "ChromameterMinoltaApi.h"
#include "IMinolta.h"
#include "Minolta.h"
#include "ScriptedAnalyser.h"
#include "TestSupport.h"

#include <QCoreApplication>
#include <QEvent>
#include <QProcess>
#include <QStringList>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <memory>

namespace {

typedef unsigned long (*CreateFn)(IMinolta**);
typedef void (*SetCatalogueFn)(const char* const*, const char* const*, int);

QString demangle(const QByteArray& name) {
    int status = 0;
    char* text = abi::__cxa_demangle(name.constData(), nullptr, nullptr, &status);
    if (status != 0 || !text)
        return QString::fromLatin1(name);
    const QString result = QString::fromLatin1(text);
    std::free(text);
    return result;
}

// The defined dynamic symbols of the plugin, mangled, read with the toolchain's nm.
QStringList exportedSymbols(QString* error) {
    QProcess nm;
    nm.start(QStringLiteral("nm"),
             {QStringLiteral("-D"), QStringLiteral("--defined-only"), QStringLiteral(CHROMA_PLUGIN_PATH)});
    if (!nm.waitForFinished(30000) || nm.exitStatus() != QProcess::NormalExit || nm.exitCode() != 0) {
        *error = QString::fromLocal8Bit(nm.readAllStandardError()) + nm.errorString();
        return {};
    }
    QStringList names;
    for (const QByteArray& line : nm.readAllStandardOutput().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() >= 3)
            names.append(QString::fromLatin1(fields.last()));
    }
    return names;
}

// What a host may see: the four C entry points, the detector class (its members, the nested clearer,
// its meta-object, vtable and type information).
bool isContractSymbol(const QString& mangled) {
    if (mangled == QLatin1String("CreateChromameterMinolta") ||
        mangled == QLatin1String("ChromameterSetPortCatalogue") ||
        mangled == QLatin1String("ChromameterSetDetectionHint") ||
        mangled == QLatin1String("ChromameterSetDetectionHintEx"))
        return true;
    const QString name = demangle(mangled.toLatin1());
    for (const char* prefix :
         {"CChromameterDetector::", "vtable for CChromameterDetector", "typeinfo for CChromameterDetector",
          "typeinfo name for CChromameterDetector"}) {
        if (name.startsWith(QLatin1String(prefix)))
            return true;
    }
    return false;
}

// What the linker adds whatever the code says: its section markers and init/fini entry points, and,
// in an AddressSanitizer build, the one-definition markers of exported globals ("__odr_asan."
// followed by the exported name). Nothing else: the standard library's thread state objects of the
// drivers' workers and the compiler's copies of Qt's type information stay inside.
bool isToolchainSymbol(const QString& mangled) {
    static const QStringList linker = {QStringLiteral("_init"), QStringLiteral("_fini"),
                                       QStringLiteral("__bss_start"), QStringLiteral("_edata"),
                                       QStringLiteral("_end")};
    if (linker.contains(mangled))
        return true;
    const QString odrMarker = QStringLiteral("__odr_asan.");
    if (mangled.startsWith(odrMarker))
        return isContractSymbol(mangled.mid(odrMarker.size()));
    return false;
}

struct LoadedPlugin {
    void* handle = nullptr;
    CreateFn create = nullptr;
    SetCatalogueFn setCatalogue = nullptr;
};

LoadedPlugin loadPlugin() {
    LoadedPlugin plugin;
    plugin.handle = dlopen(CHROMA_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(plugin.handle, nullptr) << dlerror();
    if (plugin.handle) {
        plugin.create = reinterpret_cast<CreateFn>(dlsym(plugin.handle, "CreateChromameterMinolta"));
        plugin.setCatalogue =
            reinterpret_cast<SetCatalogueFn>(dlsym(plugin.handle, "ChromameterSetPortCatalogue"));
    }
    return plugin;
}

void pointAt(SetCatalogueFn setCatalogue, const QString& path) {
    const QByteArray name = path.toUtf8();
    const char* names[] = {name.constData()};
    const char* descriptions[] = {"USB-Serial Controller"};
    setCatalogue(names, descriptions, 1);
}

} // namespace

TEST(PluginExports, OnlyTheHostContractIsExported) {
    QString error;
    const QStringList symbols = exportedSymbols(&error);
    ASSERT_FALSE(symbols.isEmpty()) << error.toStdString();
    QStringList unexpected;
    for (const QString& symbol : symbols)
        if (!isContractSymbol(symbol) && !isToolchainSymbol(symbol))
            unexpected.append(symbol + QStringLiteral("  (") + demangle(symbol.toLatin1()) +
                              QLatin1Char(')'));
    EXPECT_TRUE(unexpected.isEmpty()) << unexpected.join('\n').toStdString();
}

TEST(PluginExports, HostEntryPointsAndDetectorHelpersAreExported) {
    QString error;
    const QStringList symbols = exportedSymbols(&error);
    ASSERT_FALSE(symbols.isEmpty()) << error.toStdString();
    QStringList names;
    for (const QString& symbol : symbols)
        names.append(demangle(symbol.toLatin1()));
    for (const char* wanted :
         {"CreateChromameterMinolta", "ChromameterSetPortCatalogue", "ChromameterSetDetectionHint",
          "ChromameterSetDetectionHintEx", "CChromameterDetector::GetInstance()",
          "CChromameterDetector::ReleaseMinolta()", "CChromameterDetector::ReleaseBuf(char**)",
          "CChromameterDetector::m_pInstance", "CChromameterDetector::m_clear"})
        EXPECT_TRUE(names.contains(QLatin1String(wanted))) << wanted;
    // The internal classes stay inside.
    for (const QString& name : names) {
        EXPECT_FALSE(name.contains(QLatin1String("CMinolta::"))) << name.toStdString();
        EXPECT_FALSE(name.contains(QLatin1String("SerialPortCross::"))) << name.toStdString();
        EXPECT_FALSE(name.contains(QLatin1String("CChromameterCommand::"))) << name.toStdString();
        EXPECT_FALSE(name.contains(QLatin1String("CMinoltaVistor::"))) << name.toStdString();
        // Nor the state objects of the drivers' worker threads.
        EXPECT_FALSE(name.contains(QLatin1String("std::thread"))) << name.toStdString();
    }
}

TEST(PluginExports, HostLoadingThePluginFindsAndUsesItsEntryPoints) {
    LoadedPlugin plugin = loadPlugin();
    ASSERT_NE(plugin.handle, nullptr);
    ASSERT_NE(plugin.create, nullptr) << dlerror();
    ASSERT_NE(plugin.setCatalogue, nullptr) << dlerror();

    auto sim = StartScriptedAnalyser();
    pointAt(plugin.setCatalogue, sim->portPath());
    IMinolta* facade = nullptr;
    ASSERT_EQ(plugin.create(&facade), RESULT_OK);
    ASSERT_NE(facade, nullptr);
    EXPECT_FALSE(facade->IsConnected());
    RecordingWatcher watcher;
    EXPECT_EQ(facade->RegisterWatcher(&watcher), 1ul);
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    EXPECT_TRUE(facade->IsConnected());
    EXPECT_EQ(sim->countReceived("COM,1\n"), 1);
    EXPECT_EQ(watcher.count(QStringLiteral("connected")), 1);

    ASSERT_NO_FATAL_FAILURE(expectDefaultReadingMeasured(*facade, watcher));

    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    EXPECT_FALSE(facade->IsConnected());
    EXPECT_EQ(facade->UnregisterWatcher(&watcher), 1ul);
    delete facade;
    plugin.setCatalogue(nullptr, nullptr, -1);
}

TEST(PluginExports, HostLoadingThePluginHintsItsDetection) {
    LoadedPlugin plugin = loadPlugin();
    ASSERT_NE(plugin.handle, nullptr);
    using SetHintFn = void (*)(const int*, int, const char*);
    const auto setHint = reinterpret_cast<SetHintFn>(dlsym(plugin.handle, "ChromameterSetDetectionHint"));
    ASSERT_NE(setHint, nullptr) << dlerror();

    auto sim = StartScriptedAnalyser();
    pointAt(plugin.setCatalogue, sim->portPath());
    const int analyser[] = {1};
    setHint(analyser, 1, nullptr);
    IMinolta* facade = nullptr;
    ASSERT_EQ(plugin.create(&facade), RESULT_OK);
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    // The analyser was asked first: the spectroradiometer's probe never went out.
    EXPECT_TRUE(sim->received().startsWith("COM,1\n")) << sim->received().toStdString();
    EXPECT_EQ(sim->countReceived("STR,4"), 0);
    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    delete facade;
    setHint(nullptr, 0, nullptr);
    plugin.setCatalogue(nullptr, nullptr, -1);
}

TEST(PluginExports, HostLoadingThePluginHintsOnlyTheFamiliesItNames) {
    LoadedPlugin plugin = loadPlugin();
    ASSERT_NE(plugin.handle, nullptr);
    using SetHintExFn = void (*)(const int*, int, const char*, unsigned int);
    const auto setHintEx =
        reinterpret_cast<SetHintExFn>(dlsym(plugin.handle, "ChromameterSetDetectionHintEx"));
    ASSERT_NE(setHintEx, nullptr) << dlerror();

    auto sim = StartScriptedAnalyser();
    pointAt(plugin.setCatalogue, sim->portPath());
    IMinolta* facade = nullptr;
    ASSERT_EQ(plugin.create(&facade), RESULT_OK);
    // The spectroradiometer alone: the analyser on the line is never asked.
    const int spectro[] = {0};
    setHintEx(spectro, 1, nullptr, CHROMAMETER_DETECT_ONLY_HINTED);
    EXPECT_EQ(facade->Connect(), RESULT_FAIL);
    EXPECT_FALSE(facade->IsConnected());
    EXPECT_GT(sim->countReceived("STR,4"), 0) << sim->received().toStdString();
    EXPECT_EQ(sim->countReceived("COM,1"), 0) << sim->received().toStdString();
    // The analyser alone: it connects.
    const int analyser[] = {1};
    setHintEx(analyser, 1, nullptr, CHROMAMETER_DETECT_ONLY_HINTED);
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    EXPECT_EQ(sim->countReceived("COM,1\n"), 1);
    EXPECT_EQ(facade->Disconnect(), RESULT_OK);
    delete facade;
    setHintEx(nullptr, 0, nullptr, 0);
    plugin.setCatalogue(nullptr, nullptr, -1);
}

TEST(PluginExports, HostLoadingThePluginGetsFailureWhenNothingAnswers) {
    LoadedPlugin plugin = loadPlugin();
    ASSERT_NE(plugin.handle, nullptr);
    ASSERT_NE(plugin.create, nullptr);
    ASSERT_NE(plugin.setCatalogue, nullptr);
    // An adapter that is not there: detection fails at the open.
    plugin.setCatalogue(nullptr, nullptr, 0);
    IMinolta* facade = nullptr;
    ASSERT_EQ(plugin.create(&facade), RESULT_OK);
    EXPECT_EQ(facade->Connect(), RESULT_FAIL);
    EXPECT_FALSE(facade->IsConnected());
    delete facade;
    plugin.setCatalogue(nullptr, nullptr, -1);
}

TEST(PluginExports, PluginHasItsOwnSingletonsApartFromTheLinkedCopy) {
    // The library linked into this test and the loaded plugin are two copies: pointing the plugin's
    // catalogue at an analyser leaves this copy's detection where it was.
    LoadedPlugin plugin = loadPlugin();
    ASSERT_NE(plugin.handle, nullptr);
    auto sim = StartScriptedAnalyser();
    pointAt(plugin.setCatalogue, sim->portPath());
    CatalogueScope none({});
    IMinolta* loaded = nullptr;
    ASSERT_EQ(plugin.create(&loaded), RESULT_OK);
    IMinolta* linked = nullptr;
    ASSERT_EQ(CreateChromameterMinolta(&linked), RESULT_OK);
    ASSERT_EQ(loaded->Connect(), RESULT_OK);
    EXPECT_TRUE(loaded->IsConnected());
    EXPECT_FALSE(linked->IsConnected());
    EXPECT_EQ(CChromameterDetector::GetInstance()->m_pMinolta, nullptr);
    EXPECT_EQ(linked->Connect(), RESULT_FAIL);
    EXPECT_TRUE(loaded->IsConnected());
    delete linked;
    delete loaded;
    plugin.setCatalogue(nullptr, nullptr, -1);
}

TEST(PluginExports, UnloadingThePluginReleasesItsSingletonsCleanly) {
    LoadedPlugin plugin = loadPlugin();
    ASSERT_NE(plugin.handle, nullptr);
    auto sim = StartScriptedAnalyser();
    pointAt(plugin.setCatalogue, sim->portPath());
    IMinolta* facade = nullptr;
    ASSERT_EQ(plugin.create(&facade), RESULT_OK);
    ASSERT_EQ(facade->Connect(), RESULT_OK);
    delete facade;
    pumpEvents(100);
    // The clearers delete the detector (closing its port and deleting its driver) and the registry.
    EXPECT_EQ(dlclose(plugin.handle), 0) << dlerror();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    pumpEvents(50);
    // The test's own copy of the library is untouched by the unload.
    IMinolta* linked = nullptr;
    ASSERT_EQ(CreateChromameterMinolta(&linked), RESULT_OK);
    EXPECT_FALSE(linked->IsConnected());
    delete linked;
}
