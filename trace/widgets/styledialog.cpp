// SPDX-License-Identifier: MIT
#include "trace/widgets/styledialog.h"

#include "trace/widgets/colorruleeditor.h"

#include "widgets/colorbutton.h"
#include "widgets/screenfitarea.h"

#include <QDialogButtonBox>
#include <QFontDialog>
#include <QFontInfo>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

const char* const channelLabels[] = {
    QT_TRANSLATE_NOOP("StyleDialog", "Raw received"),
    QT_TRANSLATE_NOOP("StyleDialog", "Raw sent"),
    QT_TRANSLATE_NOOP("StyleDialog", "Hex received"),
    QT_TRANSLATE_NOOP("StyleDialog", "Hex sent"),
    QT_TRANSLATE_NOOP("StyleDialog", "Message received"),
    QT_TRANSLATE_NOOP("StyleDialog", "Message sent"),
};

struct PreviewLine
{
    const char* source; // "%1" stands for the channel
    const char* text;
};

// One line per channel colour, in the order of the colours; what a request
// and its answer look like in the trace.
const PreviewLine channelLines[] = {
    {"%1 Raw", "07 00 02 E0 03 00 06 10 00"},
    {"%1 Raw", "0C 00 02 D0 03 00 01 10 02 03 00 02 10 02"},
    {"%1 Hex", "0000: 07 00 02 E0 03 00 06 10  00                       ........."},
    {"%1 Hex", "0000: 0C 00 02 D0 03 00 01 10  02 03 00 02 10 02        .............."},
    {"%1", "SetPumpModeReply=(ResultCode=Ok)"},
    {"%1", "SetPumpMode=(PumpId=2 PumpMode=Auto)"},
};

QString describe(const QFont& font)
{
    QString family = font.family();
    if (family.isEmpty())
        family = QFontInfo(font).family();
    QString text = font.pointSizeF() > 0
                       ? StyleDialog::tr("%1, %2 pt").arg(family).arg(font.pointSizeF())
                       : StyleDialog::tr("%1, %2 px").arg(family).arg(font.pixelSize());
    if (font.bold())
        text += StyleDialog::tr(", bold");
    if (font.italic())
        text += StyleDialog::tr(", italic");
    return text;
}

} // namespace

StyleDialog::StyleDialog(QWidget* parent)
    : QDialog(parent), m_pb_textfont(new QPushButton(this)), m_pb_codefont(new QPushButton(this)),
      m_tw_preview(new QTreeWidget(this))
{
    setWindowTitle(tr("Style"));

    const auto addColor = [this](QFormLayout* form, StyleColor which, const QString& label) {
        auto* button = new ColorButton(form->parentWidget());
        button->setToolButtonStyle(Qt::ToolButtonIconOnly);
        button->setIconSize(QSize(48, 14));
        auto* text = new QLabel(label, form->parentWidget());
        text->setBuddy(button);
        form->addRow(text, button);
        m_pb_colors[which] = button;
        connect(button, &ColorButton::colorChanged, this, &StyleDialog::updatePreview);
    };

    auto* general = new QGroupBox(tr("Trace"), this);
    auto* generalForm = new QFormLayout(general);
    addColor(generalForm, ColorBackground, tr("Background"));
    addColor(generalForm, ColorText, tr("Text"));
    addColor(generalForm, ColorError, tr("Error"));

    auto* fonts = new QGroupBox(tr("Fonts"), this);
    auto* fontForm = new QFormLayout(fonts);
    for (QPushButton* button : {m_pb_textfont, m_pb_codefont}) {
        button->setParent(fonts);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    }
    auto* textFontLabel = new QLabel(tr("Text font"), fonts);
    textFontLabel->setBuddy(m_pb_textfont);
    auto* codeFontLabel = new QLabel(tr("Code font"), fonts);
    codeFontLabel->setBuddy(m_pb_codefont);
    fontForm->addRow(textFontLabel, m_pb_textfont);
    fontForm->addRow(codeFontLabel, m_pb_codefont);

    QGroupBox* channels[2];
    for (int channel = 1; channel <= 2; ++channel) {
        auto* group = new QGroupBox(tr("Channel %1").arg(channel), this);
        auto* form = new QFormLayout(group);
        for (int i = 0; i < 6; ++i)
            addColor(form, channelColor(StyleColor(ColorRawRx1 + i), channel),
                     tr(channelLabels[i]));
        channels[channel - 1] = group;
    }

    auto* preview = new QGroupBox(tr("Preview"), this);
    m_tw_preview->setParent(preview);
    m_tw_preview->setColumnCount(2);
    m_tw_preview->setHeaderLabels({tr("Source"), tr("Text")});
    m_tw_preview->setRootIsDecorated(false);
    m_tw_preview->setSelectionMode(QAbstractItemView::NoSelection);
    m_tw_preview->setFocusPolicy(Qt::NoFocus);
    m_tw_preview->setAutoFillBackground(true);
    m_tw_preview->setTextElideMode(Qt::ElideNone);
    m_tw_preview->header()->setStretchLastSection(false);
    const auto addLine = [this](const QString& source, const QString& text, StyleColor color) {
        auto* item = new QTreeWidgetItem(m_tw_preview, {source, text});
        item->setData(0, Qt::UserRole, int(color));
    };
    addLine(QStringLiteral("Main"), tr("Definitions loaded"), ColorText);
    addLine(QStringLiteral("1 Err"), tr("1:1: error: Tag must have four digits"), ColorError);
    for (int channel = 1; channel <= 2; ++channel) {
        for (int i = 0; i < 6; ++i) {
            addLine(QString::fromLatin1(channelLines[i].source).arg(channel),
                    QString::fromLatin1(channelLines[i].text),
                    channelColor(StyleColor(ColorRawRx1 + i), channel));
        }
    }
    auto* previewLayout = new QVBoxLayout(preview);
    previewLayout->addWidget(m_tw_preview);

    auto* buttons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Apply |
                                 QDialogButtonBox::Cancel | QDialogButtonBox::RestoreDefaults,
                             this);
    QPushButton* defaults = buttons->button(QDialogButtonBox::RestoreDefaults);
    defaults->setText(tr("Defaults"));

    auto* grid = new QGridLayout;
    grid->addWidget(general, 0, 0);
    grid->addWidget(fonts, 0, 1);
    grid->addWidget(channels[0], 1, 0);
    grid->addWidget(channels[1], 1, 1);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 1);
    auto* rules = new QGroupBox(tr("Colour rules (first match colours the message)"), this);
    m_colorRules = new ColorRuleEditor(rules);
    auto* rulesLayout = new QVBoxLayout(rules);
    rulesLayout->addWidget(m_colorRules);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(rules, 1);
    layout->addWidget(preview, 1);
    layout->addWidget(buttons);
    // Taller than a laptop's screen at twice the scale.
    ScreenFitArea::wrap(this);

    connect(buttons, &QDialogButtonBox::accepted, this, &StyleDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons->button(QDialogButtonBox::Apply), &QPushButton::clicked, this,
            &StyleDialog::onApply);
    connect(defaults, &QPushButton::clicked, this, &StyleDialog::onDefaults);
    connect(m_pb_textfont, &QPushButton::clicked, this, &StyleDialog::onTextFont);
    connect(m_pb_codefont, &QPushButton::clicked, this, &StyleDialog::onCodeFont);

    setStyle(StyleSettings());
}

void StyleDialog::setStyle(const StyleSettings& style)
{
    for (int i = 0; i < StyleColorCount; ++i) {
        const QSignalBlocker blocker(m_pb_colors[i]);
        m_pb_colors[i]->setColor(style.color(StyleColor(i)));
    }
    m_textFont = style.textFont();
    m_codeFont = style.codeFont();
    m_colorRules->setRules(style.colorRules());
    updateFontButtons();
    updatePreview();
}

StyleSettings StyleDialog::style() const
{
    StyleSettings style;
    for (int i = 0; i < StyleColorCount; ++i)
        style.setColor(StyleColor(i), m_pb_colors[i]->color());
    style.setTextFont(m_textFont);
    style.setCodeFont(m_codeFont);
    style.setColorRules(m_colorRules->rules());
    return style;
}

void StyleDialog::setTags(const QRV16::TagDataLut* tags)
{
    m_colorRules->setTags(tags);
}

void StyleDialog::accept()
{
    Q_EMIT apply(style());
    QDialog::accept();
}

void StyleDialog::onApply()
{
    Q_EMIT apply(style());
}

void StyleDialog::onDefaults()
{
    setStyle(StyleSettings());
}

void StyleDialog::onTextFont()
{
    if (chooseFont(&m_textFont, tr("Text font")))
        updateFontButtons();
}

void StyleDialog::onCodeFont()
{
    if (chooseFont(&m_codeFont, tr("Code font")))
        updateFontButtons();
}

bool StyleDialog::chooseFont(QFont* font, const QString& title)
{
    // On the heap: should this dialog go while the font dialog runs, the
    // font dialog goes with it and must not be deleted a second time.
    QPointer<QFontDialog> dialog = new QFontDialog(*font, this);
    dialog->setWindowTitle(title);
    const int result = dialog->exec();
    if (!dialog)
        return false;
    const QFont chosen = dialog->selectedFont();
    delete dialog;
    if (result != QDialog::Accepted)
        return false;
    *font = chosen;
    return true;
}

void StyleDialog::updateFontButtons()
{
    const auto show = [this](QPushButton* button, const QFont& font) {
        button->setText(describe(font));
        // The family speaks for itself; the size would upset the layout.
        QFont face = font;
        const QFont own = QWidget::font();
        if (own.pointSizeF() > 0)
            face.setPointSizeF(own.pointSizeF());
        else
            face.setPixelSize(own.pixelSize());
        button->setFont(face);
    };
    show(m_pb_textfont, m_textFont);
    show(m_pb_codefont, m_codeFont);
    updatePreview();
}

void StyleDialog::updatePreview()
{
    const StyleSettings current = style();
    m_tw_preview->setPalette(current.palette());
    for (int row = 0; row < m_tw_preview->topLevelItemCount(); ++row) {
        QTreeWidgetItem* item = m_tw_preview->topLevelItem(row);
        const QColor color = current.color(StyleColor(item->data(0, Qt::UserRole).toInt()));
        for (int column = 0; column < 2; ++column)
            item->setForeground(column, color);
        item->setFont(0, m_textFont);
        item->setFont(1, m_codeFont);
    }
    m_tw_preview->resizeColumnToContents(0);
    m_tw_preview->resizeColumnToContents(1);
    // Every line in sight; only very large fonts need scroll bars. (As
    // needed, they would turn up at an exact fit, each for the other.)
    const int rows = m_tw_preview->topLevelItemCount();
    const int frame = 2 * m_tw_preview->frameWidth();
    int height = m_tw_preview->header()->sizeHint().height() + frame;
    for (int row = 0; row < rows; ++row)
        height += m_tw_preview->sizeHintForRow(row);
    const int width = m_tw_preview->columnWidth(0) + m_tw_preview->columnWidth(1) + frame;
    const QSize largest(800, 600);
    const Qt::ScrollBarPolicy policy = width <= largest.width() && height <= largest.height()
                                           ? Qt::ScrollBarAlwaysOff
                                           : Qt::ScrollBarAsNeeded;
    m_tw_preview->setHorizontalScrollBarPolicy(policy);
    m_tw_preview->setVerticalScrollBarPolicy(policy);
    m_tw_preview->setMinimumSize(QSize(width, height).boundedTo(largest));
}
