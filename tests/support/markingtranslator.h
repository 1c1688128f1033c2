#pragma once

#include <QTranslator>

/// Marks every text that goes through the translation with its context, and
/// gives the shortcuts another key.
class MarkingTranslator : public QTranslator
{
public:
    QString translate(const char *context, const char *sourceText, const char *, int) const override
    {
        const QString text = QString::fromUtf8(sourceText);
        if (text.startsWith("Ctrl+"))
            return "Alt+" + text.mid(5);
        return QString("[%1]%2").arg(context, text);
    }
    bool isEmpty() const override { return false; }
};
