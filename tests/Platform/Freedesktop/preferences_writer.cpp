// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Changes the preferences in the file named by its argument until it is killed: the value of "state" is a
// number, as many times over as it says, modulo 8192. Prints a dot after each change.

#include "PreferencesFile.h"

#include <unistd.h>

int main(int argc, char **argv)
{
    if (argc != 2)
        return 2;
    PreferencesFile preferences(QString::fromLocal8Bit(argv[1]));
    int number = preferences.integers(QStringLiteral("state")).value_or(QList<qint32>{0}).value(0);
    for (;;) {
        number = (number + 4099) % 1'000'000;
        preferences.setIntegers(QStringLiteral("state"), QList<qint32>(number % 8192 + 1, number));
        if (::write(STDOUT_FILENO, ".", 1) != 1)
            return 1;
    }
}
