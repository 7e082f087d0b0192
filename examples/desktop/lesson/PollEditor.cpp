#include "lesson/PollEditor.h"

#include "lessonfiles/QuestionKinds.h"

#include <QtWidgets/QComboBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QSpinBox>

namespace Desktop
{

using Tarvo::OrdinalType;
using Tarvo::PollType;

struct PollEditor::Kind {
    QString name;
    PollType::POLL_TYPE kind;
    OrdinalType::ORDINAL_TYPE labels;
    int count;
};

// clang-format off
const QVector<PollEditor::Kind> &PollEditor::kinds()
{
    static const QVector<Kind> rows{
        {tr("Choices"),           PollType::MULTIPLE,     OrdinalType::ALPHA_UPPER,   4},
        {tr("True or false"),     PollType::TRUE_FALSE,   OrdinalType::TRUE_FALSE,    2},
        {tr("Yes, no"),           PollType::YES_NO_OTHER, OrdinalType::YES_NO,        2},
        {tr("Yes, no, maybe"),    PollType::YES_NO_OTHER, OrdinalType::YES_NO_MAYBE,  3},
        {tr("Yes, no, unsure"),   PollType::YES_NO_OTHER, OrdinalType::YES_NO_UNSURE, 3},
        {tr("Yes, no, other"),    PollType::YES_NO_OTHER, OrdinalType::YES_NO_OTHER,  3},
        {tr("Scale"),             PollType::SCALE,        OrdinalType::NUMBER,        6},
        {tr("Agreement"),         PollType::SCALE,        OrdinalType::AGREEMENT,     5},
        {tr("Confidence"),        PollType::SCALE,        OrdinalType::CONFIDENCE,    5},
        {tr("Sort"),              PollType::SORT,         OrdinalType::ALPHA_UPPER,   4},
        {tr("Text"),              PollType::TEXT,         OrdinalType::GENERIC,       0},
        {tr("Number"),            PollType::NUMBER,       OrdinalType::GENERIC,       0},
        {tr("Words"),             PollType::WORD_SEED,    OrdinalType::GENERIC,       0},
        {tr("Drawing"),           PollType::CREATIVE,     OrdinalType::GENERIC,       0},
        {tr("Formula"),           PollType::MATH_FORMULA, OrdinalType::GENERIC,       0},
    };
    return rows;
}
// clang-format on

int PollEditor::rowOf(const PreparedPoll &poll)
{
    int ofKind = 0;
    for (int row = kinds().size() - 1; row >= 0; --row) {
        if (kinds().at(row).kind != poll.kind)
            continue;
        if (kinds().at(row).labels == poll.labels)
            return row;
        ofKind = row;
    }
    return ofKind;
}

QString PollEditor::nameOf(const PreparedPoll &poll)
{
    return kinds().at(rowOf(poll)).name;
}

PollEditor::PollEditor(QWidget *parent)
    : QWidget(parent), m_text(new QPlainTextEdit(this)), m_kind(new QComboBox(this)),
      m_count(new QSpinBox(this)), m_options(new QPlainTextEdit(this))
{
    for (const Kind &kind : kinds())
        m_kind->addItem(kind.name);
    addFields();
    const auto changed = [this] {
        if (!m_isSetting)
            Q_EMIT edited();
    };
    connect(m_kind, QOverload<int>::of(&QComboBox::activated), this, &PollEditor::kindChosen);
    connect(m_text, &QPlainTextEdit::textChanged, this, changed);
    connect(m_options, &QPlainTextEdit::textChanged, this, [this, changed] {
        showFields();
        changed();
    });
    connect(m_count, QOverload<int>::of(&QSpinBox::valueChanged), this, changed);
    showFields();
}

void PollEditor::addFields()
{
    m_text->setTabChangesFocus(true);
    m_text->setAccessibleName(tr("Text of the question"));
    m_text->setPlaceholderText(tr("What is asked; nothing for a poll by word of mouth"));
    m_kind->setAccessibleName(tr("Kind of the poll"));
    m_count->setAccessibleName(tr("Number of options"));
    m_options->setTabChangesFocus(true);
    m_options->setAccessibleName(tr("Options, one a line"));
    m_options->setPlaceholderText(tr("One option a line; nothing for A, B, C …"));
    const int lines = fontMetrics().lineSpacing();
    m_text->setFixedHeight(3 * lines);
    m_options->setFixedHeight(5 * lines);
    auto *form = new QFormLayout(this);
    form->setContentsMargins(0, 0, 0, 0);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->addRow(tr("Question"), m_text);
    form->addRow(tr("Kind"), m_kind);
    form->addRow(tr("Number"), m_count);
    form->addRow(tr("Options"), m_options);
}

void PollEditor::focusText()
{
    m_text->setFocus();
}

PreparedPoll PollEditor::poll() const
{
    const Kind &kind = kinds().at(m_kind->currentIndex());
    PreparedPoll poll{kind.kind, kind.labels, m_count->value(), {}, {}};
    poll.text = m_text->toPlainText().left(PreparedPollsFile::MAX_TEXT);
    if (m_options->isEnabled()) {
        const QStringList lines = m_options->toPlainText().split(QLatin1Char('\n'));
        for (const QString &line : lines) {
            const QString option = line.trimmed().left(PreparedPollsFile::MAX_OPTION);
            if (!option.isEmpty() && poll.options.size() < PreparedPollsFile::MAX_OPTIONS)
                poll.options.append(option);
        }
    }
    if (!poll.options.isEmpty())
        poll.count = poll.options.size();
    return poll;
}

void PollEditor::setPoll(const PreparedPoll &poll)
{
    m_isSetting = true;
    m_kind->setCurrentIndex(rowOf(poll));
    m_text->setPlainText(poll.text);
    m_options->setPlainText(poll.options.join(QLatin1Char('\n')));
    showFields();
    m_count->setValue(poll.count);
    m_isSetting = false;
}

void PollEditor::kindChosen()
{
    const int usual = kinds().at(m_kind->currentIndex()).count;
    m_isSetting = true;
    showFields();
    m_count->setValue(usual);
    m_isSetting = false;
    Q_EMIT edited();
}

void PollEditor::showFields()
{
    const Kind &kind = kinds().at(m_kind->currentIndex());
    const auto range = Host::pollRange(kind.kind, kind.labels);
    const bool takesTexts = Host::askRange(kind.kind).most > 0 && !Host::knowsItsOptions(kind.kind)
        && Host::isAskable(kind.kind);
    m_options->setEnabled(takesTexts);
    m_options->setToolTip(takesTexts ? tr("The texts of the options, one a line.")
                                     : tr("This kind of poll has no options of its own."));
    const bool isCounted = takesTexts && m_options->document()->isEmpty();
    const QSignalBlocker bounded(m_count);
    m_count->setRange(range.least, qMin(range.most, PreparedPollsFile::MAX_OPTIONS));
    m_count->setEnabled(isCounted);
    m_count->setToolTip(isCounted ? tr("How many options there are.")
                                  : tr("The options are given by their kind or by their texts."));
}

} // namespace Desktop
