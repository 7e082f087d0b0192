#include "results/ChartLayout.h"

#include "results/ChartPainter.h"

#include <QtGui/QFontMetricsF>

#include <algorithm>
#include <cmath>

namespace Desktop
{

namespace
{

constexpr int REFERENCE_PIXELS = 40; // at which texts are measured
constexpr int MEASURED_ROWS = 100;
constexpr double MEASURED_CHARACTERS = 120;
constexpr double USUAL_CHARACTER = 0.55; // as wide, of the type's size
constexpr double WRAPPING = 1.1;         // words are not broken, so lines are not filled
constexpr int MAX_LABEL_LINES = 3;
constexpr int MAX_QUESTION_LINES = ChartLayout::mostQuestionLines();
constexpr int MAX_FIGURES_LINES = ChartLayout::mostFiguresLines();

// Of the height of the picture.
constexpr double LARGEST_TYPE = 1.0 / 15;
constexpr double SMALLEST_TYPE = 1.0 / 34;
// Of its width.
constexpr double WIDEST_TYPE = 1.0 / 28;
constexpr int LEGIBLE_PIXELS = 14;
constexpr int LARGEST_PIXELS = 56;

// Of the size of the type.
constexpr double QUESTION_TYPE = 1.25;
constexpr double FIGURES_TYPE = 0.85;
constexpr double NAME_TYPE = 0.75;
constexpr double SMALLEST_GAP = 0.5; // between two lines
// More than that does not help to read.
constexpr double LARGEST_CHOICE_GAP = 1.5;
constexpr double LARGEST_ANSWER_GAP = 0.4;

// Of the width of the picture.
constexpr double WIDEST_LABEL = 0.42;

QFont sized(QFont font, double pixels, bool isBold = false)
{
    font.setPixelSize(qMax(1, qRound(pixels)));
    font.setBold(isBold);
    return font;
}

} // namespace

// Widths are of the type's size.
struct ChartLayout::Measures {
    QString question;
    QString figures;
    double label = 0; // the longest choice's
    double numbers = 0;
    bool hasNames = false;
    QVector<double> answers; // by row; 0 for choices
};

ChartLayout::ChartLayout(const ChartSource &source, const QSize &size, const QFont &font)
{
    const Measures measures = measured(source, font);
    m_rowFont = m_questionFont = m_figuresFont = m_nameFont = font;
    const int fitting = qRound(qMin(size.height() * LARGEST_TYPE, size.width() * WIDEST_TYPE));
    const int largest = qBound(LEGIBLE_PIXELS, fitting, LARGEST_PIXELS);
    const int smallest = qBound(LEGIBLE_PIXELS, qRound(size.height() * SMALLEST_TYPE), largest);
    int pixels = largest;
    arrange(measures, size, pixels);
    while (pixels > smallest && m_top + rowsHeight() > size.height())
        arrange(measures, size, --pixels);
    spread(measures, size.height() - m_top);
}

ChartLayout::Measures ChartLayout::measured(const ChartSource &source, const QFont &font)
{
    const QFontMetricsF metrics(sized(font, REFERENCE_PIXELS));
    const auto width = [&metrics](const QString &text) {
        const double beginning = metrics.horizontalAdvance(text.left(int(MEASURED_CHARACTERS)));
        return beginning / REFERENCE_PIXELS * qMax(1.0, text.size() / MEASURED_CHARACTERS);
    };
    Measures measures;
    measures.question = source.head().question;
    measures.figures = source.head().figures;
    const QVector<ChartRow> rows = source.rows(0, MEASURED_ROWS);
    for (const ChartRow &row : rows) {
        measures.answers.append(row.isFree ? width(row.label) : 0);
        measures.label = std::max(measures.label, row.isFree ? 0 : width(row.label));
        measures.numbers = std::max(measures.numbers, width(row.figures));
        measures.hasNames = measures.hasNames || !row.names.isEmpty();
    }
    for (int row = rows.size(); row < source.rowCount(); ++row)
        measures.answers.append(source.lengthOf(row) * USUAL_CHARACTER);
    return measures;
}

void ChartLayout::arrange(const Measures &measures, const QSize &size, int pixels)
{
    m_rowFont = sized(m_rowFont, pixels);
    m_questionFont = sized(m_questionFont, pixels * QUESTION_TYPE, true);
    m_figuresFont = sized(m_figuresFont, pixels * FIGURES_TYPE);
    m_nameFont = sized(m_nameFont, pixels * NAME_TYPE);
    m_width = size.width();
    m_margin = pixels * 0.8;

    const double inner = m_width - 2 * m_margin;
    const auto textHeight = [inner](const QString &text, const QFont &font, int lines) {
        return ChartPainter::textHeight(text, font, inner, lines);
    };
    m_question = QRectF(m_margin, m_margin / 2, inner,
                        textHeight(measures.question, m_questionFont, MAX_QUESTION_LINES));
    m_figures = QRectF(m_margin, m_question.bottom() + pixels * 0.2, inner,
                       textHeight(measures.figures, m_figuresFont, MAX_FIGURES_LINES));
    m_top = std::ceil(m_figures.bottom() + pixels * 0.5);

    m_numbersWidth = measures.numbers * pixels + m_margin;
    m_labelWidth = std::min(measures.label * pixels * 1.02 + 2, inner * WIDEST_LABEL);
    m_namesHeight = measures.hasNames ? QFontMetricsF(m_nameFont).height() : 0;
    stack(measures, pixels * SMALLEST_GAP);
}

// One below the other, so far apart.
void ChartLayout::stack(const Measures &measures, double gap)
{
    const int pixels = m_rowFont.pixelSize();
    const double line = QFontMetricsF(m_rowFont).lineSpacing();
    const double answerWidth = std::max(1.0, m_width - 2 * m_margin - m_numbersWidth);
    const auto linesOf = [pixels](double width, double room) {
        return std::clamp(static_cast<int>(std::ceil(width * pixels / room - 0.02)), 1,
                          MAX_LABEL_LINES);
    };
    const int choiceLines = linesOf(measures.label, std::max(1.0, m_labelWidth));
    m_lines.clear();
    m_tops = {0};
    for (const double answer : measures.answers) {
        const bool isFree = answer > 0;
        m_lines.append(isFree ? linesOf(answer * WRAPPING, answerWidth) : choiceLines);
        const double needed = m_lines.last() * line + gap + (isFree ? m_namesHeight : 0);
        m_tops.append(m_tops.last() + std::ceil(needed));
    }
}

// What room is left sets the lines apart.
void ChartLayout::spread(const Measures &measures, double height)
{
    const double left = height - rowsHeight();
    if (rowCount() == 0 || left <= rowCount())
        return;
    const int pixels = m_rowFont.pixelSize();
    const double share = std::floor(left / rowCount());
    const bool hasChoices = measures.label > 0;
    const double most = pixels * (hasChoices ? LARGEST_CHOICE_GAP : LARGEST_ANSWER_GAP);
    stack(measures, pixels * SMALLEST_GAP + std::min(share - 1, most));
}

QRectF ChartLayout::rowRect(int row) const
{
    return {0, m_tops.at(row), m_width, m_tops.at(row + 1) - m_tops.at(row)};
}

int ChartLayout::rowAt(double y) const
{
    const auto after = std::upper_bound(m_tops.begin(), m_tops.end(), y);
    return std::max(0, static_cast<int>(after - m_tops.begin()) - 1);
}

bool ChartLayout::isSameAs(const ChartLayout &other) const
{
    return m_rowFont == other.m_rowFont && m_tops == other.m_tops && m_question == other.m_question
        && m_figures == other.m_figures && qFuzzyCompare(m_labelWidth, other.m_labelWidth)
        && qFuzzyCompare(m_numbersWidth, other.m_numbersWidth);
}

QRectF ChartLayout::labelRect(const QRectF &row, bool isFree, int lines) const
{
    const double height = QFontMetricsF(m_rowFont).lineSpacing() * lines;
    const double top = row.top() + (row.height() - height - (isFree ? m_namesHeight : 0)) / 2;
    const double width = isFree ? m_width - 2 * m_margin - m_numbersWidth : m_labelWidth;
    return {m_margin, top, width, height};
}

QRectF ChartLayout::namesRect(const QRectF &label) const
{
    return {label.left(), label.bottom(), label.width(), m_namesHeight};
}

QRectF ChartLayout::barRect(const QRectF &row) const
{
    const double left = m_margin + m_labelWidth + m_margin / 2;
    const double right = m_width - m_margin - m_numbersWidth;
    const double height = std::min(row.height() * 0.7, m_rowFont.pixelSize() * 1.8);
    return {left, row.top() + (row.height() - height) / 2, std::max(1.0, right - left), height};
}

QRectF ChartLayout::numbersRect(const QRectF &row) const
{
    return {m_width - m_margin - m_numbersWidth, row.top(), m_numbersWidth, row.height()};
}

} // namespace Desktop
