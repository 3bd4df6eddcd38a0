// chromameter._core: the compiled half of the Python package. It wraps the same host code the
// command-line host runs (host/, characterise/, report/, colour/); the package's Python half gives
// the readings and the exceptions their Python shape.

#include "Cielab.h"
#include "ColourQuantities.h"
#include "IMinolta.h"
#include "InstrumentFailure.h"
#include "InstrumentSession.h"
#include "PythonCharacterisation.h"
#include "PythonInstrument.h"
#include "PythonOutputs.h"
#include "QtApplication.h"
#include "ReportWriter.h"
#include "RgbSpace.h"
#include "StatusConsole.h"

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cmath>
#include <optional>

namespace py = pybind11;

namespace {
QString qstr(const std::optional<std::string>& text) {
    return text ? QString::fromStdString(*text) : QString();
}

py::object optionalNumber(bool present, double value) {
    return present ? py::object(py::float_(value)) : py::object(py::none());
}

// A reading as the package's Reading takes it.
py::dict readingDict(const Reading& reading, const InstrumentInfo& info) {
    py::dict d;
    d["Lv"] = reading.Lv;
    const bool colour = reading.hasColour;
    d["x"] = optionalNumber(colour, reading.x);
    d["y"] = optionalNumber(colour, reading.y);
    d["X"] = optionalNumber(colour, reading.colour.X);
    d["Y"] = optionalNumber(colour, reading.colour.Y);
    d["Z"] = optionalNumber(colour, reading.colour.Z);
    d["u_prime"] = optionalNumber(colour, reading.colour.uPrime);
    d["v_prime"] = optionalNumber(colour, reading.colour.vPrime);
    d["CCT"] = optionalNumber(colour && reading.colour.cct.ok(), reading.colour.cct.cct);
    d["Duv"] = optionalNumber(colour && reading.colour.cct.ok(), reading.colour.cct.duv);
    d["Tcp"] = optionalNumber(info.givesTcp, reading.Tcp);
    d["status"] = reading.result;
    d["time_ms"] = reading.time.toMSecsSinceEpoch();
    return d;
}

py::dict instrumentDict(const InstrumentInfo& info) {
    py::dict d;
    d["family"] = info.family.toStdString();
    d["type"] = info.type;
    d["title"] = info.title.toStdString();
    d["port"] = info.port.toStdString();
    d["gives_colour"] = info.givesXy;
    return d;
}

PythonOutputs pythonOutputs(bool normaliseDrift, const std::optional<std::string>& json,
                            const std::optional<std::string>& csv, const std::optional<std::string>& table,
                            const std::optional<std::string>& ti3, const std::optional<std::string>& report,
                            const std::optional<std::string>& icc, int iccVersion,
                            const std::optional<std::string>& displayName) {
    if (iccVersion != 2 && iccVersion != 4)
        throw InstrumentFailure(InstrumentFailure::Kind::Usage, 0,
                                QStringLiteral("icc_version must be 2 or 4, not %1").arg(iccVersion));
    PythonOutputs o;
    o.settings.normaliseDrift = normaliseDrift;
    o.settings.ti3Path = qstr(ti3);
    o.settings.reportPath = qstr(report);
    o.settings.iccPath = qstr(icc);
    o.settings.iccVersion = iccVersion;
    o.settings.displayName = qstr(displayName);
    o.jsonPath = qstr(json);
    o.csvPath = qstr(csv);
    o.tablePath = qstr(table);
    return o;
}

const char* failureClass(InstrumentFailure::Kind kind) {
    switch (kind) {
    case InstrumentFailure::Kind::NoInstrument:
        return "NoInstrumentError";
    case InstrumentFailure::Kind::Timeout:
        return "MeasurementTimeout";
    case InstrumentFailure::Kind::Usage:
        return "UsageError";
    case InstrumentFailure::Kind::Instrument:
        break;
    }
    return "InstrumentError";
}
} // namespace

PYBIND11_MODULE(_core, m) {
    m.doc() = "The compiled half of chromameter: the instrument session, the characterisation run and "
              "the colour arithmetic of the command-line host.";
    m.attr("version") = CHROMAMETER_VERSION;

    py::register_exception_translator([](std::exception_ptr pointer) {
        try {
            if (pointer)
                std::rethrow_exception(pointer);
        } catch (const InstrumentFailure& failure) {
            py::object errors = py::module_::import("chromameter._errors");
            py::object type = errors.attr(failureClass(failure.kind()));
            py::object error = type(py::str(failure.what()), failure.code());
            PyErr_SetObject(type.ptr(), error.ptr());
        }
    });

    py::class_<PythonInstrument>(m, "Session", "An open instrument (see chromameter.Instrument).")
        .def(py::init([](std::optional<std::string> port, std::optional<std::string> family,
                         std::optional<std::string> simulate, std::optional<std::string> simDisplay,
                         std::optional<std::string> simValues, std::optional<std::string> simFault,
                         std::optional<std::string> simLine, bool readTcp, double timeout) {
                 PythonInstrument::Options options;
                 options.session.port = qstr(port);
                 options.session.simulate = qstr(simulate);
                 options.session.simDisplay = qstr(simDisplay);
                 options.session.simValues = qstr(simValues);
                 options.session.simFault = qstr(simFault);
                 options.session.simLine = qstr(simLine);
                 options.session.readTcp = readTcp;
                 // The family named is the only one detection tries, as with --family on the command
                 // line: at its own line speed, and no other family answers in its place.
                 options.session.family = qstr(family);
                 // A script connects where it says; the command line's last connection is the user's.
                 options.session.remember = false;
                 options.timeoutSec = timeout;
                 py::gil_scoped_release release;
                 return std::make_unique<PythonInstrument>(options);
             }),
             py::arg("port"), py::arg("family"), py::arg("simulate"), py::arg("sim_display"),
             py::arg("sim_values"), py::arg("sim_fault"), py::arg("sim_line"), py::arg("read_tcp"),
             py::arg("timeout"))
        .def("info", [](const PythonInstrument& self) { return instrumentDict(self.info()); })
        .def("is_open", &PythonInstrument::isOpen)
        .def(
            "measure",
            [](PythonInstrument& self, double timeout) -> py::object {
                Reading reading;
                bool done = false;
                {
                    py::gil_scoped_release release;
                    done = self.measure(&reading, timeout);
                }
                if (!done)
                    throw py::error_already_set();
                return readingDict(reading, self.info());
            },
            py::arg("timeout"))
        .def("close",
             [](PythonInstrument& self) {
                 py::gil_scoped_release release;
                 self.close();
             })
        .def(
            "characterise",
            [](PythonInstrument& self, const std::string& patches, const std::string& order, py::object show,
               int settleMs, int retries, int whiteEvery, const std::string& targetSpace,
               const std::string& targetWhite, const std::string& targetEotf,
               std::optional<std::string> journal, bool resume, bool normaliseDrift,
               std::optional<std::string> json, std::optional<std::string> csv,
               std::optional<std::string> table, std::optional<std::string> ti3,
               std::optional<std::string> report, std::optional<std::string> icc, int iccVersion,
               std::optional<std::string> displayName, double timeout) {
                PythonCharacterisation c;
                c.settings.patchSets = QString::fromStdString(patches);
                c.settings.order = QString::fromStdString(order);
                c.settings.settleMs = settleMs;
                c.settings.retries = retries;
                c.settings.whiteEvery = whiteEvery;
                c.settings.targetSpace = QString::fromStdString(targetSpace);
                c.settings.targetWhite = QString::fromStdString(targetWhite);
                c.settings.targetEotf = QString::fromStdString(targetEotf);
                if (py::isinstance<py::str>(show))
                    c.show = QString::fromStdString(show.cast<std::string>());
                else
                    c.showCallable = show;
                c.journalPath = qstr(journal);
                c.resume = resume;
                c.outputs = pythonOutputs(normaliseDrift, json, csv, table, ti3, report, icc, iccVersion,
                                          displayName);
                c.timeoutSec = timeout;
                QString figures;
                {
                    py::gil_scoped_release release;
                    figures = c.run(self);
                }
                if (figures.isEmpty())
                    throw py::error_already_set();
                return figures.toStdString();
            },
            py::arg("patches"), py::arg("order"), py::arg("show"), py::arg("settle_ms"), py::arg("retries"),
            py::arg("white_every"), py::arg("target_space"), py::arg("target_white"), py::arg("target_eotf"),
            py::arg("journal"), py::arg("resume"), py::arg("normalise_drift"), py::arg("json"),
            py::arg("csv"), py::arg("table"), py::arg("ti3"), py::arg("report"), py::arg("icc"),
            py::arg("icc_version"), py::arg("display_name"), py::arg("timeout"));

    m.def(
        "report",
        [](const std::string& journal, std::optional<std::string> targetSpace,
           std::optional<std::string> targetWhite, std::optional<std::string> targetEotf, bool normaliseDrift,
           std::optional<std::string> json, std::optional<std::string> csv, std::optional<std::string> table,
           std::optional<std::string> ti3, std::optional<std::string> report, std::optional<std::string> icc,
           int iccVersion, std::optional<std::string> displayName) {
            const PythonOutputs outputs =
                pythonOutputs(normaliseDrift, json, csv, table, ti3, report, icc, iccVersion, displayName);
            QString figures;
            {
                py::gil_scoped_release release;
                figures = PythonReport(QString::fromStdString(journal), qstr(targetSpace), qstr(targetWhite),
                                       qstr(targetEotf), outputs);
            }
            return figures.toStdString();
        },
        "The figures of a saved run as `chromameter report --format json` gives them, with its outputs.",
        py::arg("journal"), py::arg("target_space"), py::arg("target_white"), py::arg("target_eotf"),
        py::arg("normalise_drift"), py::arg("json"), py::arg("csv"), py::arg("table"), py::arg("ti3"),
        py::arg("report"), py::arg("icc"), py::arg("icc_version"), py::arg("display_name"));

    m.def(
        "ports_json",
        []() {
            QString text;
            {
                py::gil_scoped_release release;
                EnsureQtApplication();
                StatusConsole console(false, [](const QByteArray&) {});
                InstrumentSession session(SessionSettings(), console);
                session.prepare();
                text = ReportWriter::Create(OutputFormat::Json)->ports(session.ports(), session.portSource());
            }
            return text.toStdString();
        },
        "The serial ports as `chromameter ports --format json` lists them, one JSON object a line.");

    m.def(
        "xyz_from_xy",
        [](double x, double y, double Y) {
            const Xyz xyz = XyzFromChromaticity({x, y}, Y);
            return py::make_tuple(xyz.X, xyz.Y, xyz.Z);
        },
        py::arg("x"), py::arg("y"), py::arg("Y"));
    m.def(
        "xy_from_xyz",
        [](double X, double Y, double Z) {
            const Chromaticity c = ChromaticityOf({X, Y, Z});
            return py::make_tuple(c.x, c.y);
        },
        py::arg("X"), py::arg("Y"), py::arg("Z"));
    m.def(
        "uv_prime_from_xy",
        [](double x, double y) {
            const UvPoint uv = UvPrimeFromXy(x, y);
            return py::make_tuple(uv.u, uv.v);
        },
        py::arg("x"), py::arg("y"));
    m.def(
        "cct_duv_from_xy",
        [](double x, double y) -> py::object {
            const CctResult r = CctFromXy(x, y);
            if (!r.ok())
                return py::none();
            return py::make_tuple(r.cct, r.duv);
        },
        py::arg("x"), py::arg("y"));
    m.def(
        "lab_from_xyz",
        [](double X, double Y, double Z, double Xw, double Yw, double Zw) {
            const Lab lab = LabFromXyz({X, Y, Z}, {Xw, Yw, Zw});
            return py::make_tuple(lab.L, lab.a, lab.b);
        },
        py::arg("X"), py::arg("Y"), py::arg("Z"), py::arg("Xw"), py::arg("Yw"), py::arg("Zw"));
    m.def("delta_e2000", &DeltaE2000, py::arg("L1"), py::arg("a1"), py::arg("b1"), py::arg("L2"),
          py::arg("a2"), py::arg("b2"));
}
