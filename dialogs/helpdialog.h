#pragma once

#include <QDialog>

/// Reserved for the manual; nothing creates it yet. Scripts that list the
/// program's classes expect its meta-object.
class HelpDialog : public QDialog
{
    Q_OBJECT
};
