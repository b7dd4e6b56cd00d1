// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "HostQuirks.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestHostQuirks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void textsArePlain()
    {
        struct Row
        {
            QString title;
            QString detail;
            QString label;
            QString description; ///< beside a picture that tells the detail
        };
        const QString endless(10'000, u'n');
        for (const auto &[title, detail, label, description] :
             {Row{u"a_b__c"_s, u"_"_s, u"a__b____c\n__"_s, u"a_b__c, _"_s},
              Row{u"<b>&amp;&</b>"_s, {}, u"<b>&amp;&</b>"_s, {}},
              Row{u"a\nb"_s, u"c\u2028d"_s, u"a b\nc d"_s, u"a b, c d"_s},
              Row{{}, u"Stopped"_s, u"\nStopped"_s, u", Stopped"_s},
              Row{u"web — Stopped"_s, u"Stopped"_s, u"web — Stopped\nStopped"_s, {}},
              Row{endless, u"up"_s, QString(100, u'n') + u'…' + QString(99, u'n') + u"\nup"_s,
                  QString(250, u'n') + u'…' + QString(249, u'n') + u", up"_s}}) {
            MenuItem item;
            item.title = title;
            item.detail = detail;
            QCOMPARE(HostQuirks().label(item), label);
            QCOMPARE(HostQuirks().accessibleDescription(item), QString());
            item.image = Symbol();
            item.image->description = detail;
            QCOMPARE(HostQuirks().accessibleDescription(item), description);
        }
    }
};

QTEST_GUILESS_MAIN(TestHostQuirks)
#include "tst_hostquirks.moc"
