// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

class SingleInstance;

/// What the running program answers on the session bus: the interface of the Desktop Entry standard's
/// "D-Bus Activation". Every reply is sent by the instance, when it takes the request.
class ApplicationAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    /// `instance` is the object on the bus and owns the adaptor.
    explicit ApplicationAdaptor(SingleInstance *instance);

public Q_SLOTS:
    void Activate(const QVariantMap &platform_data, const QDBusMessage &message);
    /// Answered with an error: the program opens no files.
    void Open(const QStringList &uris, const QVariantMap &platform_data, const QDBusMessage &message);
    /// An action that does not exist is answered with an error. No action takes a parameter.
    void ActivateAction(const QString &action_name, const QVariantList &parameter,
                        const QVariantMap &platform_data, const QDBusMessage &message);

private:
    SingleInstance *m_instance;
};
