// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// A program that is only launched, asked and quit: one line on standard output for everything that happens.
// It listens to requests at once, or with the argument "late" after the first line on standard input. Once it
// was told to quit it ends with the next line, or at the end of the input.

#include "SingleInstance.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <unistd.h>

#include <array>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

void tell(const QString &what, const QVariantMap &platformData = {})
{
    std::printf("%s", what.toLocal8Bit().constData());
    for (auto entry = platformData.begin(); entry != platformData.end(); ++entry)
        std::printf(" %s=%s", qPrintable(entry.key()), qPrintable(entry.value().toString()));
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    SingleInstance instance;
    if (const std::optional<int> status =
            instance.handOver(qEnvironmentVariable("HOME") + u"/.config/lock"_s))
        return *status;

    QCoreApplication app(argc, argv);
    bool isQuitting = false;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&instance, &SingleInstance::launched, &app,
                     [](const QVariantMap &data) { tell(u"launched"_s, data); });
    QObject::connect(&instance, &SingleInstance::activated, &app,
                     [](const QVariantMap &data) { tell(u"activated"_s, data); });
    QObject::connect(&instance, &SingleInstance::actionRequested, &app,
                     [&](const QString &name, const QVariantMap &data) {
                         tell(name, data);
                         if (name == "quit"_L1) {
                             instance.setQuitting();
                             isQuitting = true;
                             if (!input.isEnabled())
                                 QCoreApplication::quit();
                         }
                     });

    QObject::connect(&input, &QSocketNotifier::activated, &app, [&] {
        std::array<char, 64> line;
        const bool isAtEnd = ::read(STDIN_FILENO, line.data(), line.size()) <= 0;
        input.setEnabled(!isAtEnd);
        if (isQuitting)
            return QCoreApplication::quit();
        if (isAtEnd)
            return;
        tell(u"listens"_s);
        instance.listen();
    });
    if (const QString action = instance.launchAction(); !action.isEmpty())
        tell(u"for "_s + action);
    if (!app.arguments().contains("late"_L1))
        instance.listen();
    tell(u"runs"_s);
    return app.exec();
}
