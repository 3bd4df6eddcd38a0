#include "PhotoResearchProtocol.h"

#include "IMinolta.h"

#include <QString>

#include <cstring>

const char PHOTORESEARCH_GREETING[] = " REMOTE MODE";

bool PhotoResearchIsRemoteModeGreeting(const QByteArray& reply) {
    return reply.size() >= PHOTORESEARCH_GREETING_LENGTH &&
           std::memcmp(reply.constData(), PHOTORESEARCH_GREETING, PHOTORESEARCH_GREETING_LENGTH) == 0;
}

bool PhotoResearchIsReportCommand(const char* command) {
    return command && (std::strcmp(command, "M1\n") == 0 || std::strcmp(command, "D1\n") == 0);
}

PhotoResearchReport PhotoResearchParseReport(const char* reply) {
    PhotoResearchReport report{RESULT_FAIL, 0, 0.0, 0.0, 0.0};
    if (!reply || !*reply)
        return report;

    QString text = QString::fromLatin1(reply, int(std::strlen(reply)));
    const QLatin1Char comma(',');

    // The status must be all clear; its value is never interpreted beyond that.
    int at = text.indexOf(comma);
    if (at < 0 || text.left(at) != QLatin1String("00000"))
        return report;
    text = text.mid(at + 1);

    // The second field is not needed for luminance and chromaticity.
    at = text.indexOf(comma);
    if (at < 0)
        return report;
    text = text.mid(at + 1);

    at = text.indexOf(comma);
    if (at < 0)
        return report;
    report.Lv = double(text.left(at).toFloat());
    report.valuesTaken = 1;
    text = text.mid(at + 1);

    at = text.indexOf(comma);
    if (at < 0)
        return report;
    const double x = double(text.left(at).toFloat());
    text = text.mid(at + 1);

    report.x = x;
    report.y = double(text.toFloat());
    report.valuesTaken = 3;
    report.result = RESULT_OK;
    return report;
}
