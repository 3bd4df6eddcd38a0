#pragma once

#include <QByteArray>

// Size of every reply buffer handed out by CChromameterCommand::Read.
static const int CHROMAMETER_REPLY_SIZE = 1024;

// A reply as every driver, and the port's diagnostics, read it as text: its bytes up to the first
// NUL (all of them when there is none). A reply buffer is zero-filled, so what follows a NUL is never
// part of the text.
QByteArray ReplyText(const QByteArray& reply);
