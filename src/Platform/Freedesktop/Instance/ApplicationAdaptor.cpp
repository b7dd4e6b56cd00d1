// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ApplicationAdaptor.h"

#include "SingleInstance.h"

using namespace Qt::StringLiterals;

ApplicationAdaptor::ApplicationAdaptor(SingleInstance *instance)
    : QDBusAbstractAdaptor(instance)
    , m_instance(instance)
{
}

void ApplicationAdaptor::Activate(const QVariantMap &platform_data, const QDBusMessage &message)
{
    m_instance->take({QString(), platform_data, message});
}

void ApplicationAdaptor::Open(const QStringList &, const QVariantMap &, const QDBusMessage &message)
{
    m_instance->refuse(message, QDBusError::errorString(QDBusError::NotSupported),
                       u"Morvanel opens no files."_s);
}

void ApplicationAdaptor::ActivateAction(const QString &action_name, const QVariantList &,
                                        const QVariantMap &platform_data, const QDBusMessage &message)
{
    if (SingleInstance::actions().contains(action_name)) {
        m_instance->take({action_name, platform_data, message});
    } else {
        m_instance->refuse(message, QDBusError::errorString(QDBusError::InvalidArgs),
                           u"Morvanel has no action \"%1\"."_s.arg(action_name));
    }
}
