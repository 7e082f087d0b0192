#pragma once

#include "support/Text.h"

#include <QtGui/QKeySequence>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMainWindow>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QTabBar>

// What a person sees of the window and can reach with Alt and a letter, by its text.
inline QStringList lettered(const QMainWindow &window)
{
    QStringList texts;
    for (const QAction *const menu : window.menuBar()->actions())
        texts.append(menu->text());
    for (const auto *const button : window.findChildren<QAbstractButton *>()) {
        if (!button->visibleRegion().isEmpty())
            texts.append(button->text());
    }
    for (const auto *const label : window.findChildren<QLabel *>()) {
        if (label->buddy() && !label->visibleRegion().isEmpty())
            texts.append(label->text());
    }
    for (const auto *const tabs : window.findChildren<QTabBar *>()) {
        for (int tab = 0; tab < tabs->count() && tabs->isVisible(); ++tab)
            texts.append(tabs->tabText(tab));
    }
    return texts;
}

// Two texts with the same letter; empty when there are none.
inline QString lettersTwiceIn(const QMainWindow &window)
{
    QHash<QString, QString> byKey;
    for (const QString &text : lettered(window)) {
        const QString key = QKeySequence::mnemonic(text).toString();
        if (!key.isEmpty() && byKey.contains(key))
            return byKey.value(key) + u" and "_s + text;
        byKey.insert(key, text);
    }
    return QString();
}
