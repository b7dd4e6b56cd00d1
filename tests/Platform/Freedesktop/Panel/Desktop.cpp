// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Desktop.h"

#include <QDir>
#include <QFile>

#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

constexpr auto panelConfiguration = R"(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="32"/>
      <property name="plugin-ids" type="array">
        <value type="int" value="1"/>
      </property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray"/>
  </property>
</channel>
)";

/// Close enough to be the same colour, anti-aliased by nobody.
bool isLike(QRgb pixel, const QColor &color)
{
    constexpr int tolerance = 12;
    return std::abs(qRed(pixel) - color.red()) < tolerance &&
           std::abs(qGreen(pixel) - color.green()) < tolerance &&
           std::abs(qBlue(pixel) - color.blue()) < tolerance;
}

} // namespace

void EndProcess::operator()(QProcess *process) const
{
    const std::unique_ptr<QProcess> owner(process);
    process->kill();
    process->waitForFinished();
}

Desktop::Desktop()
    : m_environment(QProcessEnvironment::systemEnvironment())
{
    m_environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
}

RunningProgram Desktop::start(const QString &program, const QStringList &arguments) const
{
    RunningProgram process(new QProcess);
    process->setProcessEnvironment(m_environment);
    process->setProgram(program);
    process->setArguments(arguments);
    process->start();
    process->waitForStarted();
    return process;
}

RunningProgram Desktop::startXfcePanel() const
{
    const QString folder = QDir::homePath() + u"/.config/xfce4/xfconf/xfce-perchannel-xml"_s;
    QFile file(folder + u"/xfce4-panel.xml"_s);
    if (QDir().mkpath(folder) && file.open(QIODevice::WriteOnly))
        file.write(panelConfiguration);
    file.close();
    return start(u"xfce4-panel"_s);
}

QImage Desktop::screenshot() const
{
    return QImage::fromData(run(u"import"_s, {u"-window"_s, u"root"_s, u"png:-"_s}), "PNG");
}

QPoint Desktop::find(const QColor &color, const QRect &area) const
{
    const QImage image = screenshot();
    const QRect inside = area & image.rect();
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        for (int x = inside.left(); x <= inside.right(); ++x) {
            if (isLike(image.pixel(x, y), color))
                return {x, y};
        }
    }
    return {-1, -1};
}

void Desktop::click(const QPoint &point) const
{
    run(u"xdotool"_s,
        {u"mousemove"_s, QString::number(point.x()), QString::number(point.y()), u"click"_s, u"1"_s});
}

void Desktop::press(const QString &key) const
{
    run(u"xdotool"_s, {u"key"_s, key});
}

QByteArray Desktop::run(const QString &program, const QStringList &arguments) const
{
    const RunningProgram process = start(program, arguments);
    process->waitForFinished();
    return process->readAllStandardOutput();
}
