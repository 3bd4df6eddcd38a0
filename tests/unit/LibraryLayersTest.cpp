// The library's folders are layers whose includes run one way:
// interface <- transport <- runtime <- drivers <- detection <- facade. The build gives each folder
// only its own and the lower folders' include paths; this test also catches what the build would let
// pass: a header named with its folder from the project's root ("detection/ChromameterDetector.h").
#include <QDir>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QStringList>

#include <gtest/gtest.h>

namespace {

const QStringList kLayers = {"interface", "transport", "runtime", "drivers", "detection", "facade"};

// Which layer each of the library's headers belongs to, by file name.
QHash<QString, int> headerLayers(const QString& root) {
    QHash<QString, int> layers;
    for (int layer = 0; layer < kLayers.size(); ++layer) {
        const QDir dir(root + QLatin1Char('/') + kLayers[layer]);
        for (const QString& name : dir.entryList({QStringLiteral("*.h")}, QDir::Files))
            layers.insert(name, layer);
    }
    return layers;
}

// The includes in `text` (a file of layer `own`) that point to a higher layer, each as
// "header (layer)". Headers outside the library (Qt, the standard library) are not looked at.
QStringList upwardIncludes(const QString& text, int own, const QHash<QString, int>& layers) {
    static const QRegularExpression include(QStringLiteral("^\\s*#\\s*include\\s*\"([^\"]+)\""),
                                            QRegularExpression::MultilineOption);
    QStringList found;
    auto it = include.globalMatch(text);
    while (it.hasNext()) {
        const QString path = it.next().captured(1);
        const QString folder = path.section(QLatin1Char('/'), 0, 0);
        int target = -1;
        if (path.contains(QLatin1Char('/')))
            target = kLayers.indexOf(folder);
        else
            target = layers.value(path, -1);
        if (target > own)
            found << QStringLiteral("%1 (%2)").arg(path, kLayers[target]);
    }
    return found;
}

} // namespace

TEST(LibraryLayers, NoFileIncludesAHeaderOfAHigherLayer) {
    const QString root = QStringLiteral(CHROMA_SOURCE_DIR);
    const QHash<QString, int> layers = headerLayers(root);
    ASSERT_GT(layers.size(), 20) << "the library's headers were not found under " << root.toStdString();
    int files = 0;
    for (int layer = 0; layer < kLayers.size(); ++layer) {
        const QDir dir(root + QLatin1Char('/') + kLayers[layer]);
        for (const QString& name :
             dir.entryList({QStringLiteral("*.h"), QStringLiteral("*.cpp")}, QDir::Files)) {
            QFile file(dir.filePath(name));
            ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
            ++files;
            const QStringList up = upwardIncludes(QString::fromUtf8(file.readAll()), layer, layers);
            EXPECT_TRUE(up.isEmpty()) << kLayers[layer].toStdString() << "/" << name.toStdString()
                                      << " includes " << up.join(QStringLiteral(", ")).toStdString();
        }
    }
    EXPECT_GT(files, 40);
}

TEST(LibraryLayers, AnIncludePointingUpIsFoundByNameAndByPath) {
    const QHash<QString, int> layers = headerLayers(QStringLiteral(CHROMA_SOURCE_DIR));
    const int drivers = kLayers.indexOf(QStringLiteral("drivers"));
    const QString text = QStringLiteral("#include \"ChromameterDetector.h\"\n"
                                        "#include \"detection/DetectionHint.h\"\n"
                                        "#include \"MinoltaVistor.h\"\n"
                                        "#include \"drivers/InstrumentFamilies.h\"\n"
                                        "#include <QString>\n");
    EXPECT_EQ(upwardIncludes(text, drivers, layers),
              QStringList({QStringLiteral("ChromameterDetector.h (detection)"),
                           QStringLiteral("detection/DetectionHint.h (detection)")}));
}
