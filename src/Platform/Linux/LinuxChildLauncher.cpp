// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LinuxChildLauncher.h"

#include "HeldProcess.h"
#include "LinuxChild.h"
#include "Pidfd.h"
#include "Pipe.h"
#include "SpawnEnvironment.h"

#include <QCoreApplication>
#include <QFile>

#include <fcntl.h>

#include <algorithm>
#include <csignal>
#include <cstring>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr size_t readBufferSize = 65536;

/// What the owner holds of a child; see `ChildProcess`.
class Handle : public ChildProcess
{
public:
    explicit Handle(std::shared_ptr<LinuxChild> child)
        : m_child(std::move(child))
    {
    }
    ~Handle() override { m_child->abandon(); }

    qint32 pid() const override { return m_child->pid(); }
    bool isRunning() const override { return m_child->isRunning(); }
    void terminate() override { m_child->send(SIGTERM); }
    void kill() override { m_child->send(SIGKILL); }

private:
    std::shared_ptr<LinuxChild> m_child;
};

/// The texts that a program is run with, for as long as it takes to run it.
class ProgramTexts
{
public:
    explicit ProgramTexts(const ChildCommand &command)
        : m_environment(command.environment)
    {
        m_texts += QFile::encodeName(command.executable);
        for (const QString &argument : command.arguments)
            m_texts += argument.toLocal8Bit();
        for (QByteArray &text : m_texts)
            m_arguments.push_back(text.data());
        m_arguments.push_back(nullptr);
    }

    HeldProcess::Program program(int input, int output) const
    {
        return {m_arguments.front(), m_arguments.data(), m_environment.entries(), input, output};
    }

private:
    SpawnEnvironment m_environment;
    QList<QByteArray> m_texts;
    std::vector<char *> m_arguments;
};

ChildLauncher::Result failure(int error)
{
    return {nullptr, qt_error_string(error)};
}

} // namespace

LinuxChildLauncher::LinuxChildLauncher(DescriptorWatcher &watcher)
    : m_watcher(watcher)
    , m_readBuffer(readBufferSize)
{
}

LinuxChildLauncher::~LinuxChildLauncher() = default;

ChildLauncher::Result LinuxChildLauncher::launch(const ChildCommand &command,
                                                 ChildProcess::Callbacks callbacks)
{
    if (const QByteArray name = SpawnEnvironment::nameOfUnusableEntry(command.environment); !name.isEmpty()) {
        return {nullptr,
                QCoreApplication::translate("ChildLauncher", "%1 contains a NUL character and cannot be "
                                                             "passed to a program")
                    .arg(QString::fromUtf8(name))};
    }
    FileDescriptor input(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!input.isOpen())
        return failure(errno);
    Pipe output;
    if (!output.isOpen())
        return failure(errno);
    ::fcntl(output.readEnd.get(), F_SETFL, O_NONBLOCK); // this end alone: a child may count on waiting
    const ProgramTexts texts(command);
    HeldProcess process(texts.program(input.get(), output.writeEnd.get()));
    if (!process.isHeld())
        return failure(errno);
    // The process has its own. Without them here, writing its id down finds the descriptors that it needs.
    input.reset();
    output.writeEnd.reset();

    FileDescriptor end(::pidfd_open(process.pid(), 0));
    if (!end.isOpen())
        return failure(errno);
    const quint64 number = ++m_lastNumber;
    auto child = std::make_shared<LinuxChild>(process.pid(), std::move(end), std::move(output.readEnd),
                                              m_watcher, m_readBuffer, std::move(callbacks),
                                              [this, number] { m_children.erase(number); });
    if (!child->watch())
        return failure(errno);
    if (command.aboutToRun)
        command.aboutToRun(process.pid());
    if (const int error = process.run())
        return failure(error);
    m_children.emplace(number, child);
    return {std::make_unique<Handle>(std::move(child)), {}};
}

void LinuxChildLauncher::endAll(std::chrono::milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (const auto &[number, child] : m_children)
        child->send(SIGTERM);
    for (const auto &[number, child] : m_children) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (!child->waitForEnd(std::max(left, 0ms)))
            child->send(SIGKILL);
    }
}
