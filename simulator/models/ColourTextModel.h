#pragma once

#include "InstrumentModel.h"

#include <QByteArray>
#include <QList>

// How one instrument of the colour-analyser command family writes its commands.
struct ColourTextDialect {
    // The byte that ends every command.
    char terminator;
    // The measure command, without its terminator.
    QByteArray measureCommand;
    // Whether blanks and line ends around a command are ignored (a CR LF sender's stray line feed).
    bool ignoreSurroundingBlanks;
};

// The command family that the colour analyser and the Jingce colorimeter share: "COM,1" / "COM,0"
// (remote communication on and off), "ZRC,1,<yyyy,MM,dd,hh,mm,ss>" (zero calibration stamped with the
// host's clock; a date the instrument cannot read is a parameter error, "ER02"), "MDS,0" / "MDS,1"
// (luminance-and-chromaticity or colour-temperature display) and the dialect's measure command, whose
// result comes measureDelayMs() later: a queued reply, or else measurementLine() of the current
// display mode. Every other answer is "OK00" with CR LF. A model handles the commands of its own in
// onOtherCommand(); what nobody knows is not the instrument's command, and it keeps quiet.
class ColourTextModel : public InstrumentModel {
public:
    ~ColourTextModel() override;

    // The next measurements answer these lines (CR LF appended) instead of a reading, one each, in
    // order; for example "OK04", "OK02" or "ER10".
    void queueMeasureReply(const QByteArray& line);
    // The date text of the last "ZRC,1,..." command (without its terminator); empty if none came.
    QByteArray lastZeroCalibrationDate() const;
    // How many dated zero calibrations ("ZRC,1,...") were asked for.
    int zeroCalibrationCount() const;
    // The display mode last selected with "MDS" (0 until then).
    int displayMode() const;
    bool inRemoteMode() const;
    // The measurement reply for the current reading in the given display mode, CR LF included.
    virtual QByteArray measurementLine(int mode) const = 0;

protected:
    explicit ColourTextModel(const ColourTextDialect& dialect);

    QByteArray terminators() const override;
    void onCommand(const QByteArray& command) override;
    // A command outside the shared family (terminator and, where the dialect says so, surrounding
    // blanks removed). The default ignores it.
    virtual void onOtherCommand(const QByteArray& line);
    // "OK00" with CR LF, after delayMs.
    void answerOk(int delayMs = 0);
    // A reading's value as the instrument prints it: fixed point with `decimals` decimals.
    static QByteArray fixed(double value, int decimals);

private:
    const ColourTextDialect m_dialect;
    mutable std::mutex m_stateMutex;
    QList<QByteArray> m_queuedReplies;
    QByteArray m_lastZeroDate;
    int m_zeroCount = 0;
    int m_displayMode = 0;
    bool m_remote = false;
};
