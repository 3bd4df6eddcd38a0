#include "ManualPatchDisplay.h"

#include "InterruptibleWait.h"

#include <QFile>
#include <QTextStream>

#include <cmath>

#include <poll.h>
#include <unistd.h>

namespace {
// How often a terminal is looked at for Enter while Ctrl-C is watched for.
const int kPollMs = 20;
} // namespace

ManualPatchDisplay::ManualPatchDisplay(QTextStream* out, QIODevice* in, const std::atomic<bool>* interrupt)
    : out_(out), in_(in), interrupt_(interrupt) {}

ManualPatchDisplay::Wait ManualPatchDisplay::waitForEnter() {
    auto* file = qobject_cast<QFile*>(in_);
    if (file && file->handle() >= 0 && file->isSequential()) {
        // A blocking read would hold Ctrl-C off until Enter: read what has come, a byte at a time,
        // and keep the event loop (and its interrupt) going in between.
        const int fd = file->handle();
        for (;;) {
            if (interrupt_ && interrupt_->load())
                return Wait::Interrupted;
            pollfd ready = {fd, POLLIN, 0};
            if (::poll(&ready, 1, 0) > 0) {
                char c = 0;
                const ssize_t n = ::read(fd, &c, 1);
                if (n <= 0)
                    return Wait::EndOfInput;
                if (c == '\n')
                    return Wait::Enter;
                continue;
            }
            if (!InterruptibleWait(kPollMs, interrupt_))
                return Wait::Interrupted;
        }
    }
    if (in_->atEnd())
        return Wait::EndOfInput;
    in_->readLine();
    return Wait::Enter;
}

bool ManualPatchDisplay::Show(const Patch& patch, QString* error) {
    auto eight = [](double v) { return int(std::lround(v * 255.0)); };
    *out_ << QString("Show patch %1%2: R %3 G %4 B %5 (8-bit %6 %7 %8), then press Enter")
                 .arg(patch.id)
                 .arg(patch.name.isEmpty() ? QString() : " (" + patch.name + ")")
                 .arg(patch.r, 0, 'f', 4)
                 .arg(patch.g, 0, 'f', 4)
                 .arg(patch.b, 0, 'f', 4)
                 .arg(eight(patch.r))
                 .arg(eight(patch.g))
                 .arg(eight(patch.b))
          << Qt::endl;
    const Wait wait = waitForEnter();
    if (wait == Wait::Enter)
        return true;
    if (error)
        *error = wait == Wait::Interrupted
                     ? QString("interrupted while waiting for patch %1 to be shown").arg(patch.id)
                     : QString("the input ended before patch %1 was confirmed").arg(patch.id);
    return false;
}
