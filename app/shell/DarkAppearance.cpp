#include "app/shell/DarkAppearance.h"

#include <QApplication>
#include <QIcon>
#include <QPalette>
#include <QStyleFactory>

void applyDarkAppearance(QApplication &application)
{
    application.setStyle(QStyleFactory::create(QStringLiteral("Fusion")));

    const QColor window(37, 37, 42);
    const QColor base(24, 24, 28);
    const QColor text(230, 230, 235);
    const QColor disabledText(120, 120, 128);
    const QColor accent(10, 132, 255);

    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::ToolTipBase, base);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, disabledText);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(50, 50, 56));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Link, accent);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Light, QColor(70, 70, 78));
    palette.setColor(QPalette::Midlight, QColor(58, 58, 64));
    palette.setColor(QPalette::Mid, QColor(44, 44, 50));
    palette.setColor(QPalette::Dark, QColor(20, 20, 24));
    palette.setColor(QPalette::Shadow, Qt::black);
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, disabledText);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, QColor(70, 70, 78));
    application.setPalette(palette);
}

QIcon applicationIcon()
{
    QIcon icon = QIcon::fromTheme(QStringLiteral("com.kelvra.KelvraMeters"));
    if (!icon.isNull()) return icon;
    // Built into the program, for runs from the build tree. Reading it needs Qt's SVG
    // image plugin; without it there is no icon rather than a broken one.
    icon = QIcon(QStringLiteral(":/icons/com.kelvra.KelvraMeters.svg"));
    return icon.pixmap(64, 64).isNull() ? QIcon() : icon;
}
