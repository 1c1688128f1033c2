// The least that a program with a main window costs with this toolkit: what the
// program itself is measured against. With --defaults the toolkit loads what it
// loads by itself; without, it is prepared as the program prepares it, and loads no
// OpenGL. With --text it shows a line of text, for which the toolkit loads the fonts.

#include "app/toolkit.h"

#include <QApplication>
#include <QLabel>
#include <QMainWindow>

#include <string>

int main(int argc, char *argv[])
{
    const std::string option = argc > 1 ? argv[1] : "";
    if (option != "--defaults")
        prepareToolkit();
    const QApplication application(argc, argv);
    QMainWindow window;
    window.resize(350, 230);
    if (option == "--text")
        window.setCentralWidget(new QLabel("Connect Now"));
    window.show();
    return QApplication::exec();
}
