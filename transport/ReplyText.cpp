#include "ReplyText.h"

QByteArray ReplyText(const QByteArray& reply) {
    const int nul = reply.indexOf('\0');
    return nul < 0 ? reply : reply.left(nul);
}
