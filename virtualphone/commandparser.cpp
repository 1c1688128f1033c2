#include "virtualphone/commandparser.h"

#include <cctype>

namespace virtualphone {

QByteArray normalised(const QByteArray &line)
{
    QByteArray result;
    bool isQuoted = false;
    for (const char c : line) {
        if (c == '"')
            isQuoted = !isQuoted;
        if (isQuoted)
            result += c;
        else if (c != ' ')
            result += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return result;
}

namespace {

// +NAME up to a semicolon that stands in no string.
ParsedCommand takeExtendedCommand(QByteArray *line)
{
    const QByteArray text = *line;
    const auto size = static_cast<int>(text.size());
    int nameEnd = 1;
    while (nameEnd < size && std::isalnum(static_cast<unsigned char>(text.at(nameEnd))))
        ++nameEnd;
    bool isQuoted = false;
    int end = nameEnd;
    while (end < size && (isQuoted || text.at(end) != ';')) {
        if (text.at(end) == '"')
            isQuoted = !isQuoted;
        ++end;
    }
    *line = text.mid(end + 1);
    const QByteArray name = text.left(nameEnd);
    const QByteArray suffix = text.mid(nameEnd, end - nameEnd);
    if (suffix.isEmpty())
        return {name, ExecuteForm, {}, 0};
    if (suffix == "?")
        return {name, ReadForm, {}, 0};
    if (suffix == "=?")
        return {name, TestForm, {}, 0};
    if (suffix.startsWith('='))
        return {name, SetForm, suffix.mid(1), 0};
    line->clear();
    return {text, ExecuteForm, {}, 0}; // names no command
}

int endOfDigits(const QByteArray &text, int start)
{
    int end = start;
    while (end < text.size() && std::isdigit(static_cast<unsigned char>(text.at(end))))
        ++end;
    return end;
}

// Sn? or Sn=value.
ParsedCommand takeRegister(QByteArray *line)
{
    const QByteArray text = *line;
    const int indexEnd = endOfDigits(text, 1);
    const std::optional<int> index = wholeNumber(text.mid(1, indexEnd - 1));
    const char sign = indexEnd < text.size() ? text.at(indexEnd) : '\0';
    if (!index || (sign != '?' && sign != '=')) {
        line->clear();
        return {text, ExecuteForm, {}, 0}; // names no command
    }
    const int end = sign == '=' ? endOfDigits(text, indexEnd + 1) : indexEnd + 1;
    *line = text.mid(end);
    return {"S", sign == '=' ? SetForm : ReadForm, text.mid(indexEnd + 1, end - indexEnd - 1),
            *index};
}

// A letter, or & and a letter, with the digits after it.
ParsedCommand takeBasicCommand(QByteArray *line)
{
    const QByteArray text = *line;
    const auto size = static_cast<int>(text.size());
    const int nameEnd = text.at(0) == '&' && size > 1 ? 2 : 1;
    const QByteArray name = text.left(nameEnd);
    int end = nameEnd;
    if (name == "D") {
        end = size; // the rest of the line is the number
    } else {
        end = endOfDigits(text, nameEnd);
    }
    *line = text.mid(end);
    return {name, BasicForm, text.mid(nameEnd, end - nameEnd), 0};
}

} // namespace

ParsedCommand takeCommand(QByteArray *line)
{
    if (line->startsWith('+'))
        return takeExtendedCommand(line);
    return line->startsWith('S') ? takeRegister(line) : takeBasicCommand(line);
}

std::optional<QList<Parameter>> splitParameters(const QByteArray &text)
{
    QList<Parameter> list;
    int i = 0;
    for (;;) {
        Parameter parameter;
        int end = 0;
        if (i < text.size() && text.at(i) == '"') {
            const auto close = static_cast<int>(text.indexOf('"', i + 1));
            if (close < 0)
                return std::nullopt;
            parameter.quoted = true;
            parameter.value = text.mid(i + 1, close - i - 1);
            end = close + 1;
        } else {
            const auto comma = static_cast<int>(text.indexOf(',', i));
            end = comma < 0 ? static_cast<int>(text.size()) : comma;
            parameter.value = text.mid(i, end - i);
            if (parameter.value.contains('"'))
                return std::nullopt;
        }
        list.append(parameter);
        if (end == text.size())
            return list;
        if (text.at(end) != ',')
            return std::nullopt;
        i = end + 1;
    }
}

std::optional<int> wholeNumber(const QByteArray &text)
{
    // toInt() would also take a sign or a blank.
    if (text.isEmpty() || text.size() > 9)
        return std::nullopt;
    for (const char c : text) {
        if (!std::isdigit(static_cast<unsigned char>(c)))
            return std::nullopt;
    }
    return text.toInt();
}

} // namespace virtualphone
