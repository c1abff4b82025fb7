// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef FUZZINPUT_H
#define FUZZINPUT_H

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <unistd.h>

// Reads a fuzz input front to back, so that hand-written seeds read as they are laid out. Past
// the end every byte is 0, which each reader takes as "stop" or the smallest choice.
class ByteReader
{
public:
    ByteReader(const uint8_t *data, size_t size) : m_data(data), m_size(size) { }

    bool atEnd() const { return m_position >= m_size; }
    uint8_t peek() const { return atEnd() ? 0 : m_data[m_position]; }
    uint8_t byte() { return atEnd() ? 0 : m_data[m_position++]; }

    // Little-endian, zero-filled past the end.
    template<typename T>
    T number()
    {
        uint8_t raw[sizeof(T)] = {};
        for (size_t i = 0; i < sizeof(T); ++i)
            raw[i] = byte();
        T value;
        std::memcpy(&value, raw, sizeof(T));
        return value;
    }

    QByteArray bytes(size_t count)
    {
        const size_t available = atEnd() ? 0 : qMin(count, m_size - m_position);
        const QByteArray result(reinterpret_cast<const char *>(m_data + m_position),
                                int(available));
        m_position += available;
        return result;
    }

private:
    const uint8_t *m_data;
    size_t m_size;
    size_t m_position = 0;
};

// Where the text of a fatal message goes: the message handler below drops every other one.
inline int fatalMessageFd = 2;

// Every log line of the code under test would otherwise reach stderr on every run; a fatal one
// (a failed Q_ASSERT) still says what failed before the process aborts.
inline void quietMessageHandler(QtMsgType type, const QMessageLogContext &context,
                                const QString &message)
{
    if (type != QtFatalMsg)
        return;
    const QByteArray text = message.toUtf8() + " (" + QByteArray(context.file ? context.file : "?")
                            + ':' + QByteArray::number(context.line) + ")\n";
    if (write(fatalMessageFd, text.constData(), size_t(text.size())) < 0)
        return;
}

#endif // FUZZINPUT_H
