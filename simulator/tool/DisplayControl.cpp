#include "DisplayControl.h"

#include <QElapsedTimer>
#include <QList>
#include <QLocalSocket>

#include <algorithm>
#include <cmath>

namespace {
void setError(QString* error, const QString& text) {
    if (error)
        *error = text;
}

bool parseValue(const QString& text, const char* name, double* value, QString* error) {
    bool ok = false;
    const double v = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(v) || v < 0.0 || v > 1.0) {
        setError(
            error,
            QStringLiteral("%1 must be a number from 0 to 1, got \"%2\"").arg(QLatin1String(name), text));
        return false;
    }
    *value = v;
    return true;
}
} // namespace

QByteArray DisplayShowLine(double r, double g, double b) {
    // Enough digits that a value survives the trip exactly as a double.
    return "show " + QByteArray::number(r, 'g', 17) + ' ' + QByteArray::number(g, 'g', 17) + ' ' +
           QByteArray::number(b, 'g', 17) + '\n';
}

bool ParseDisplayValues(const QString& r, const QString& g, const QString& b, double rgb[3], QString* error) {
    double values[3];
    if (!parseValue(r, "R", &values[0], error) || !parseValue(g, "G", &values[1], error) ||
        !parseValue(b, "B", &values[2], error))
        return false;
    for (int i = 0; i < 3; ++i)
        rgb[i] = values[i];
    return true;
}

bool ParseDisplayShowLine(const QByteArray& line, double rgb[3], QString* error) {
    const QList<QByteArray> words = line.simplified().split(' ');
    if (words.size() != 4 || words[0] != "show") {
        setError(
            error,
            QStringLiteral("expected \"show R G B\", got \"%1\"").arg(QString::fromUtf8(line.trimmed())));
        return false;
    }
    return ParseDisplayValues(QString::fromLatin1(words[1]), QString::fromLatin1(words[2]),
                              QString::fromLatin1(words[3]), rgb, error);
}

bool SendDisplayShow(const QString& path, double r, double g, double b, int timeoutMs, QString* error) {
    QElapsedTimer clock;
    clock.start();
    auto left = [&] { return int(std::max<qint64>(1, timeoutMs - clock.elapsed())); };
    QLocalSocket socket;
    socket.connectToServer(path);
    if (!socket.waitForConnected(left())) {
        setError(error,
                 QStringLiteral("no virtual display listens at %1 (%2)").arg(path, socket.errorString()));
        return false;
    }
    socket.write(DisplayShowLine(r, g, b));
    if (!socket.waitForBytesWritten(left())) {
        setError(error, QStringLiteral("could not send to %1 (%2)").arg(path, socket.errorString()));
        return false;
    }
    QByteArray answer;
    while (!answer.contains('\n')) {
        if (clock.elapsed() >= timeoutMs || !socket.waitForReadyRead(left())) {
            setError(error, QStringLiteral("the virtual display at %1 did not answer within %2 ms")
                                .arg(path)
                                .arg(timeoutMs));
            return false;
        }
        answer += socket.readAll();
    }
    answer = answer.left(answer.indexOf('\n')).trimmed();
    socket.disconnectFromServer();
    if (answer == "ok")
        return true;
    setError(error, QStringLiteral("the virtual display refused: %1").arg(QString::fromUtf8(answer)));
    return false;
}
