// The Photo Research instrument's replies: the remote-mode greeting, the commands that are answered
// by a report, and the report itself (status "00000", an unexamined field, Lv, x, y).

#include "FuzzCheck.h"
#include "IMinolta.h"
#include "drivers/PhotoResearchProtocol.h"

#include <QString>
#include <QStringList>

namespace {

void checkGreeting(const QByteArray& reply) {
    const bool greeting = PhotoResearchIsRemoteModeGreeting(reply);
    FUZZ_CHECK(greeting == reply.startsWith(" REMOTE MODE"));
}

void checkCommand(const char* text) {
    const bool report = PhotoResearchIsReportCommand(text);
    FUZZ_CHECK(report == (std::strcmp(text, "M1\n") == 0 || std::strcmp(text, "D1\n") == 0));
}

void checkReport(const char* reply) {
    const PhotoResearchReport report = PhotoResearchParseReport(reply);
    FUZZ_CHECK(report.result == RESULT_OK || report.result == RESULT_FAIL);
    FUZZ_CHECK(report.valuesTaken == 0 || report.valuesTaken == 1 || report.valuesTaken == 3);
    FUZZ_CHECK((report.result == RESULT_OK) == (report.valuesTaken == 3));

    // The same report taken apart by hand: fields between commas, y being all that follows the
    // fourth comma.
    const QString text = QString::fromLatin1(reply);
    const QStringList fields = text.split(QLatin1Char(','));
    const bool statusClear = fields.size() >= 2 && fields.at(0) == QLatin1String("00000");
    if (!statusClear) {
        FUZZ_CHECK(report.result == RESULT_FAIL && report.valuesTaken == 0);
        return;
    }
    const int expectedTaken = fields.size() >= 5 ? 3 : (fields.size() >= 4 ? 1 : 0);
    FUZZ_CHECK(report.valuesTaken == expectedTaken);
    if (report.valuesTaken >= 1)
        FUZZ_CHECK(FuzzSameValue(report.Lv, double(fields.at(2).toFloat())));
    if (report.valuesTaken == 3) {
        FUZZ_CHECK(FuzzSameValue(report.x, double(fields.at(3).toFloat())));
        const QString rest = QStringList(fields.mid(4)).join(QLatin1Char(','));
        FUZZ_CHECK(FuzzSameValue(report.y, double(rest.toFloat())));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    checkGreeting(FuzzReply(data, size));
    checkGreeting(QByteArray(reinterpret_cast<const char*>(data), int(size)));

    // The report parser reads a terminated string: give it one exactly as long as the text.
    const std::vector<char> text = FuzzCString(data, size);
    checkCommand(text.data());
    checkReport(text.data());
    // Null is refused, never dereferenced.
    FUZZ_CHECK(!PhotoResearchIsReportCommand(nullptr));
    FUZZ_CHECK(PhotoResearchParseReport(nullptr).result == RESULT_FAIL);
    return 0;
}
