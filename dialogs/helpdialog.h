#pragma once

#include <QDialog>

/// Only a class with its meta-object: it shows nothing, and nothing creates it.
/// Kept on purpose.
class HelpDialog : public QDialog
{
    Q_OBJECT
};
