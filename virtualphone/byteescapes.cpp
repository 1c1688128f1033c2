#include "virtualphone/byteescapes.h"

#include <cctype>

namespace virtualphone {

QByteArray escapeBytes(const QByteArray &bytes)
{
    QByteArray text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
        case '\r':
            text += "\\r";
            break;
        case '\n':
            text += "\\n";
            break;
        case '\t':
            text += "\\t";
            break;
        case '\\':
            text += "\\\\";
            break;
        case '"':
            text += "\\\"";
            break;
        default:
            if (byte >= 0x20 && byte < 0x7F)
                text += c;
            else
                text += "\\x" + QByteArray::number(byte, 16).rightJustified(2, '0').toUpper();
        }
    }
    return text;
}

bool unescapeBytes(const QByteArray &text, QByteArray *bytes)
{
    QByteArray result;
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i) != '\\') {
            result += text.at(i);
            continue;
        }
        if (++i == text.size())
            return false;
        switch (text.at(i)) {
        case 'r':
            result += '\r';
            break;
        case 'n':
            result += '\n';
            break;
        case 't':
            result += '\t';
            break;
        case '0':
            result += '\0';
            break;
        case '\\':
        case '"':
            result += text.at(i);
            break;
        case 'x': {
            const QByteArray digits = text.mid(i + 1, 2);
            bool isNumber = false;
            const uint value = digits.toUInt(&isNumber, 16);
            // toUInt also takes a sign or a blank before a single digit.
            if (digits.size() != 2 || !isNumber || !std::isxdigit(static_cast<uchar>(digits.at(0))))
                return false;
            result += static_cast<char>(value);
            i += 2;
            break;
        }
        default:
            return false;
        }
    }
    *bytes = result;
    return true;
}

} // namespace virtualphone
