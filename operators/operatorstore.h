#pragma once

#include <QString>
#include <QVariantMap>

// The stored list of operators: the key "MobileOperators" of the settings that
// the main program reads. Other keys are left alone, also when the main program
// writes them at the same time; but for an operator that was chosen there and is
// not in the user's new list: without it the main program begins with the list's
// first, with it it would connect with no access point name. GUI thread.

enum class Scope {
    User,   // the settings of whoever runs this
    System, // presets for everyone on the computer: settings/ beside the program
};

/// Where the list in use comes from.
enum class Origin {
    BuiltIn, // the program itself
    Preset,  // the system scope
    Own,     // the scope that was asked for
};

struct StoredList {
    /// Operator name to APN, as the main program takes it.
    QVariantMap list;
    Origin origin = Origin::BuiltIn;
};

/// The list that is in use in this scope.
StoredList storedList(Scope scope);

/// What is in use for a user who has no list: the preset or the built-in one.
StoredList listWithoutOwn();

/// The file that holds the scope's settings; it need not exist.
QString settingsFile(Scope scope);

/// Stores the list, its values as texts. A copy of a damaged file is kept first.
/// Returns why it could not be stored, as a sentence for the user; "" when it
/// is stored.
QString storeList(Scope scope, const QVariantMap &list);

/// Removes the stored list, so that the preset or the built-in one is in use
/// again. Answers as storeList() does.
QString removeStoredList(Scope scope);

/// The operator that is chosen in the main window, when it would not be in this
/// list; "" otherwise.
QString vanishingOperator(const QVariantMap &list);
