// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DisplayServer.h"
#include "PaintingThread.h"
#include "ProcessSetup.h"
#include "Program.h"
#include "SingleInstance.h"
#include "StandardError.h"

#include <QApplication>

#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace {

/// The arguments for Qt. Without a display the tunnels run all the same, and the bus still reaches them.
std::vector<char *> argumentsForQt(int argc, char **argv, const DisplayServer &display)
{
    std::vector<char *> arguments(argv, argv + argc);
    if (!display.isReachable()) {
        writeToStandardError(QStringLiteral("no display can be reached; running without windows"));
        static std::array<char, sizeof "-platform"> option{"-platform"};
        static std::array<char, sizeof "offscreen"> value{"offscreen"};
        arguments.insert(arguments.end(), {option.data(), value.data()});
    }
    arguments.push_back(nullptr);
    return arguments;
}

} // namespace

int main(int argc, char **argv)
{
    ProcessSetup::prepare();
    SingleInstance instance;
    if (const std::optional<int> status = instance.handOver())
        return *status;
    QApplication::setDesktopFileName(QStringLiteral("com.ardentwick.Morvanel"));
    QApplication::setApplicationVersion(QStringLiteral(MORVANEL_VERSION));
    std::optional<DisplayServer> display(std::in_place);
    std::vector<char *> arguments = argumentsForQt(argc, argv, *display);
    int count = int(arguments.size()) - 1;
    const QApplication app(count, arguments.data());
    display.reset();
    PaintingThread::keepOne();
    Program program(instance);
    program.launch();
    return QApplication::exec();
}
