// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// A program that is only launched, asked and quit: one line on standard output for everything that happens.
// Once it was told to quit it ends with its standard input.

#include "SingleInstance.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <unistd.h>

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
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    input.setEnabled(false);
    QObject::connect(&input, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
    QObject::connect(&instance, &SingleInstance::launched, &app,
                     [](const QVariantMap &data) { tell(u"launched"_s, data); });
    QObject::connect(&instance, &SingleInstance::activated, &app,
                     [](const QVariantMap &data) { tell(u"activated"_s, data); });
    QObject::connect(&instance, &SingleInstance::actionRequested, &app,
                     [&](const QString &name, const QVariantMap &data) {
                         tell(name, data);
                         if (name == "quit"_L1) {
                             instance.setQuitting();
                             input.setEnabled(true);
                         }
                     });
    if (qEnvironmentVariableIsSet("WITHOUT_WINDOWS"))
        instance.setWindowless();
    if (const QString action = instance.launchAction(); !action.isEmpty())
        tell(u"for "_s + action);
    instance.listen();
    tell(u"runs"_s);
    return app.exec();
}
