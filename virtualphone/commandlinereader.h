#pragma once

#include <QByteArray>

namespace virtualphone {

inline constexpr int MaximumLineLength = 256; ///< bytes, without the line's end

/// Cuts what the PC sends in command state into command lines. A line ends
/// with a carriage return; line feeds and other control characters are ignored,
/// and a backspace removes the last character. What stands before the first
/// "AT" of a line is ignored, too: a modem waits for these letters. "A/" is the
/// line before once more, and has no end of its own (V.250, 5.2.4).
class CommandLineReader
{
public:
    /// What take() found.
    struct Taken {
        QByteArray bytes;        ///< cut off the input, to be echoed as they are
        bool isComplete = false; ///< a line ended
        bool isTooLong = false;  ///< it was longer than MaximumLineLength
        QByteArray line;         ///< from its "AT" on; empty when there is none
    };

    /// The characters that the registers S3 and S5 name.
    struct EditingCharacters {
        char end = '\r';
        char backspace = '\b';
    };

    /// Takes from the front of *input up to and including the first end of a
    /// line; all of it when there is none. Input must not be empty.
    Taken take(QByteArray *input, EditingCharacters characters);

    /// The line so far, from its "AT" on; empty when there is none yet.
    QByteArray partialLine() const;

    /// Forgets the line that has begun.
    void reset();

private:
    QByteArray m_line;
    QByteArray m_lineBefore;
    bool m_isTooLong = false;
};

} // namespace virtualphone
