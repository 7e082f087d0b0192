#include "console/Utf8Reader.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using Host::Utf8Reader;

// What a terminal sends comes in pieces that end anywhere.
class tst_LetterPieces : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lettersCutAnywhereArriveWhole();
    void begunLetterWaits();
    void whatIsNoLetterIsReplaced();
};

void tst_LetterPieces::lettersCutAnywhereArriveWhole()
{
    const QString text = u"a\u00E9\u20AC\U0001F600z"_s;
    const QByteArray bytes = text.toUtf8();
    for (int first = 0; first <= bytes.size(); ++first) {
        for (int second = first; second <= bytes.size(); ++second) {
            Utf8Reader reader;
            QString read = reader.read(bytes.left(first));
            read += reader.read(bytes.mid(first, second - first));
            read += reader.read(bytes.mid(second));
            QCOMPARE(read, text);
        }
    }
}

void tst_LetterPieces::begunLetterWaits()
{
    Utf8Reader reader;
    QCOMPARE(reader.read("a\xE2\x82"), u"a"_s);
    QCOMPARE(reader.read("\xAC"), u"\u20AC"_s);
}

void tst_LetterPieces::whatIsNoLetterIsReplaced()
{
    Utf8Reader reader;
    QCOMPARE(reader.read("a\xFF"
                         "b"),
             u"a\uFFFDb"_s);
    QCOMPARE(reader
                 .read("\x80\x80\x80\x80"
                       "c")
                 .right(1),
             u"c"_s);
}

QTEST_GUILESS_MAIN(tst_LetterPieces)
#include "tst_letterpieces.moc"
