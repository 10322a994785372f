#include "App/CommandLine/CommandLine.h"

#include <QCoreApplication>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Lumicrate"));
    return lumicrate::app::runCommandLine(std::vector<std::string>(argv + 1, argv + argc));
}
