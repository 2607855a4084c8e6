// SPDX-License-Identifier: MIT
#include "trace/widgets/plotdock.h"

#include "files/savefile.h"
#include "trace/traceitem.h"
#include "trace/tracemodel.h"
#include "trace/traceplotter.h"
#include "widgets/documentflow.h"

#include <QBuffer>
#include <QCategoryAxis>
#include <QChart>
#include <QChartView>
#include <QCloseEvent>
#include <QDateTime>
#include <QDateTimeAxis>
#include <QFileDialog>
#include <QLineSeries>
#include <QMenu>
#include <QMouseEvent>
#include <QRubberBand>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <QValueAxis>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr qint64 MinimumSpan = 10; // ms

QString dateTimeFormat(QRV16::DataType type)
{
    switch (type) {
    case QRV16::DataType::Date: return QStringLiteral("yyyy-MM-dd");
    case QRV16::DataType::Time: return QStringLiteral("hh:mm:ss");
    default: return QStringLiteral("yyyy-MM-dd hh:mm:ss");
    }
}

// Labels of the time axis that tell its ticks apart.
QString timeFormat(qint64 span)
{
    if (span < 20000)
        return QStringLiteral("hh:mm:ss.zzz");
    if (span < 2 * 24 * 3600 * 1000LL)
        return QStringLiteral("hh:mm:ss");
    return QStringLiteral("yyyy-MM-dd hh:mm");
}

// Distinct colours for the curves of a chart: the chart's theme repeats
// after five, and a tag on two channels alone takes four.
QColor curveColor(int n)
{
    static const QRgb colors[] = {0x1f77b4, 0xff7f0e, 0x2ca02c, 0xd62728, 0x9467bd,
                                  0x8c564b, 0xe377c2, 0x7f7f7f, 0xbcbd22, 0x17becf};
    constexpr int count = int(sizeof colors / sizeof colors[0]);
    if (n < count)
        return QColor(colors[n]);
    return QColor::fromHsv((n * 137) % 360, 200, 200);
}

bool isDateType(QRV16::DataType type)
{
    return type == QRV16::DataType::Date || type == QRV16::DataType::Time || type == QRV16::DataType::DateTime;
}

// Up to four points a pixel column: its first, lowest, highest and last
// point in their order, so every spike and step stays visible.
struct Column
{
    int first = -1, low = -1, high = -1, last = -1;

    void add(int i, const std::vector<double>& y)
    {
        if (first < 0) {
            first = low = high = last = i;
            return;
        }
        if (y[size_t(i)] < y[size_t(low)])
            low = i;
        if (y[size_t(i)] > y[size_t(high)])
            high = i;
        last = i;
    }
};

} // namespace

PlotDock::PlotDock(TraceModel* model, QWidget* parent) : QDockWidget(tr("Plot"), parent), m_model(model)
{
    setObjectName(QStringLiteral("m_dock_plot"));
    m_plotter = new TracePlotter(model, this);
    m_relative = model->options().test(TraceOptions::RelativeTime);

    auto* content = new QWidget(this);
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto* bar = new QToolBar(content);
    bar->setToolButtonStyle(Qt::ToolButtonTextOnly);
    m_act_stacked = bar->addAction(tr("Stacked"));
    m_act_stacked->setObjectName(QStringLiteral("m_act_plot_stacked"));
    m_act_stacked->setToolTip(tr("One chart per tag instead of one chart with an axis per tag"));
    m_act_stacked->setCheckable(true);
    m_act_reset = bar->addAction(tr("Reset zoom"));
    m_act_reset->setObjectName(QStringLiteral("m_act_plot_reset"));
    m_act_reset->setToolTip(tr("Show the whole trace and follow new lines. Drag or wheel to zoom in, "
                               "right button to zoom out, middle button or Shift+wheel to pan"));
    m_act_png = bar->addAction(tr("Export PNG..."));
    m_act_png->setObjectName(QStringLiteral("m_act_plot_png"));
    m_act_csv = bar->addAction(tr("Export CSV..."));
    m_act_csv->setObjectName(QStringLiteral("m_act_plot_csv"));
    m_mnu_remove = new QMenu(tr("Remove"), content);
    auto* remove = new QToolButton(bar);
    remove->setText(tr("Remove"));
    remove->setMenu(m_mnu_remove);
    remove->setPopupMode(QToolButton::InstantPopup);
    bar->addWidget(remove);
    layout->addWidget(bar);
    m_area = new QWidget(content);
    m_charts = new QVBoxLayout(m_area);
    m_charts->setContentsMargins(0, 0, 0, 0);
    m_charts->setSpacing(0);
    layout->addWidget(m_area, 1);
    setWidget(content);

    connect(m_act_stacked, &QAction::toggled, this, &PlotDock::rebuild);
    connect(m_act_reset, &QAction::triggered, this, &PlotDock::resetZoom);
    connect(m_act_png, &QAction::triggered, this, &PlotDock::onExportPng);
    connect(m_act_csv, &QAction::triggered, this, &PlotDock::onExportCsv);
    connect(m_plotter, &TracePlotter::tagsChanged, this, [this] {
        rebuild();
        updateRemoveMenu();
    });

    m_timer = new QTimer(this);
    m_timer->setInterval(RedrawMilliseconds);
    connect(m_timer, &QTimer::timeout, this, &PlotDock::onTick);
    m_timer->start();
    updateRemoveMenu();
}

void PlotDock::setTags(const QRV16::TagDataLut* tags)
{
    m_plotter->setTags(tags);
}

bool PlotDock::addTag(int tag)
{
    const bool added = m_plotter->addTag(tag) || m_plotter->tags().contains(tag);
    if (added) {
        show();
        raise();
    }
    return added;
}

bool PlotDock::isStacked() const
{
    return m_act_stacked->isChecked();
}

void PlotDock::setStacked(bool stacked)
{
    m_act_stacked->setChecked(stacked);
}

QList<QChartView*> PlotDock::views() const
{
    QList<QChartView*> list;
    for (const Chart& chart : m_chartList)
        list << chart.view;
    return list;
}

QList<QLineSeries*> PlotDock::curves() const
{
    QList<QLineSeries*> list;
    for (const Chart& chart : m_chartList) {
        for (const Curve& curve : chart.curves)
            list << curve.line;
    }
    return list;
}

void PlotDock::setOptions(const TraceOptions& options)
{
    const bool relative = options.test(TraceOptions::RelativeTime);
    if (relative == m_relative)
        return;
    m_relative = relative;
    rebuild();
}

void PlotDock::rebuild()
{
    for (Chart& chart : m_chartList)
        delete chart.view;
    m_chartList.clear();
    const QVector<int> tags = m_plotter->tags();
    if (isStacked()) {
        for (int tag : tags)
            addChart({tag});
    } else if (!tags.isEmpty()) {
        addChart(tags);
    }
    m_dirty = true;
    redraw();
}

QAbstractAxis* PlotDock::createValueAxis(int tag)
{
    const QRV16::DataType type = QRV16::dataType(unsigned(tag));
    QAbstractAxis* axis = nullptr;
    if (m_plotter->isSteppedTag(tag)) {
        auto* category = new QCategoryAxis;
        category->setLabelsPosition(QCategoryAxis::AxisLabelsPositionOnValue);
        axis = category;
    } else if (isDateType(type)) {
        auto* dates = new QDateTimeAxis;
        dates->setFormat(dateTimeFormat(type));
        axis = dates;
    } else {
        auto* values = new QValueAxis;
        values->setLabelFormat(QStringLiteral("%.10g"));
        axis = values;
    }
    axis->setTitleText(m_plotter->tagName(tag));
    return axis;
}

void PlotDock::addChart(const QVector<int>& tags)
{
    Chart chart;
    chart.chart = new QChart;
    chart.chart->setMargins(QMargins(4, 4, 4, 4));
    chart.chart->legend()->setAlignment(Qt::AlignTop);
    chart.tags = tags;
    if (m_relative) {
        auto* x = new QValueAxis;
        x->setTitleText(tr("Time (s)"));
        x->setLabelFormat(QStringLiteral("%.10g"));
        chart.x = x;
    } else {
        auto* x = new QDateTimeAxis;
        x->setTitleText(tr("Time"));
        x->setFormat(QStringLiteral("hh:mm:ss"));
        chart.x = x;
    }
    chart.chart->addAxis(chart.x, Qt::AlignBottom);
    for (int i = 0; i < tags.size(); ++i) {
        const int tag = tags.at(i);
        QAbstractAxis* y = createValueAxis(tag);
        chart.chart->addAxis(y, i % 2 ? Qt::AlignRight : Qt::AlignLeft);
        chart.y << y;
        const qsizetype before = chart.curves.size();
        for (int s = 0; s < m_plotter->seriesCount(); ++s) {
            if (m_plotter->tag(s) != tag)
                continue;
            for (int c = 0; c < m_plotter->curveCount(s); ++c) {
                auto* line = new QLineSeries;
                line->setName(m_plotter->curveName(s, c));
                chart.chart->addSeries(line);
                line->attachAxis(chart.x);
                line->attachAxis(y);
                QPen pen = line->pen();
                pen.setColor(curveColor(int(chart.curves.size())));
                // Requests apart from answers in print and for colour-blind eyes.
                if (m_plotter->direction(s) == Sent)
                    pen.setStyle(Qt::DashLine);
                line->setPen(pen);
                chart.curves << Curve{line, s, c};
            }
        }
        // With several axes in one chart, an axis with one curve takes its colour.
        if (tags.size() > 1 && chart.curves.size() == before + 1) {
            const QColor color = chart.curves.last().line->color();
            y->setLinePenColor(color);
            y->setLabelsColor(color);
            y->setTitleBrush(color);
        }
    }
    chart.view = new QChartView(chart.chart, m_area);
    chart.view->setMinimumHeight(180);
    chart.view->viewport()->installEventFilter(this);
    // A new width takes another number of pixel columns.
    connect(chart.chart, &QChart::plotAreaChanged, this, [this] { m_dirty = true; });
    chart.view->show();
    m_charts->addWidget(chart.view, 1);
    m_chartList.push_back(chart);
}

void PlotDock::updateRemoveMenu()
{
    m_mnu_remove->clear();
    const QVector<int> tags = m_plotter->tags();
    for (int tag : tags)
        m_mnu_remove->addAction(m_plotter->tagName(tag), this, [this, tag] { m_plotter->removeTag(tag); });
    if (!tags.isEmpty()) {
        m_mnu_remove->addSeparator();
        m_mnu_remove->addAction(tr("All"), m_plotter, &TracePlotter::clearTags);
    }
    m_mnu_remove->setEnabled(!tags.isEmpty());
}

void PlotDock::onTick()
{
    if (isVisible() && (m_dirty || m_plotter->revision() != m_drawnRevision))
        redraw();
}

void PlotDock::dataRange(qint64* start, qint64* end) const
{
    bool any = false;
    for (int s = 0; s < m_plotter->seriesCount(); ++s) {
        const int count = m_plotter->pointCount(s);
        if (count == 0)
            continue;
        // Points are in trace order, which is time order but for lines
        // sorted in late: the ends are close enough.
        const qint64 first = m_plotter->point(s, 0).time;
        const qint64 last = m_plotter->point(s, count - 1).time;
        *start = any ? std::min(*start, first) : first;
        *end = any ? std::max(*end, last) : last;
        any = true;
    }
    if (!any) {
        *end = QDateTime::currentMSecsSinceEpoch();
        *start = *end - 60000;
    }
    if (*end - *start < MinimumSpan) {
        *start -= MinimumSpan / 2;
        *end = *start + MinimumSpan;
    }
}

double PlotDock::toAxis(qint64 ms) const
{
    return m_relative ? double(ms - m_origin) / 1000.0 : double(ms);
}

void PlotDock::setRange(qint64 start, qint64 end)
{
    if (end - start < MinimumSpan)
        end = start + MinimumSpan;
    m_start = start;
    m_end = end;
    m_zoomed = true;
    m_dirty = true;
}

void PlotDock::zoom(double factor, double at)
{
    if (!m_zoomed)
        dataRange(&m_start, &m_end);
    const double span = double(m_end - m_start);
    const double wanted = std::max(span * factor, double(MinimumSpan));
    const qint64 start = m_start + qint64((span - wanted) * qBound(0.0, at, 1.0));
    setRange(start, start + qint64(wanted));
}

void PlotDock::pan(double fraction)
{
    if (!m_zoomed)
        dataRange(&m_start, &m_end);
    const qint64 shift = qint64(double(m_end - m_start) * fraction);
    setRange(m_start + shift, m_end + shift);
}

void PlotDock::resetZoom()
{
    m_zoomed = false;
    m_dirty = true;
    redraw();
}

void PlotDock::drawCurve(const Curve& curve, double lo, double hi, int columns, double* min, double* max)
{
    m_plotter->curveValues(curve.series, curve.curve, &m_values);
    const std::vector<double>& y = m_values;
    const int count = int(y.size());
    const bool stepped = m_plotter->isStepped(curve.series);
    m_points.clear();
    // The visible points with one neighbour on each side, so that lines
    // run on to the edges.
    int from = 0;
    while (from < count && toAxis(m_plotter->point(curve.series, from).time) < lo)
        ++from;
    from = std::max(from - 1, 0);
    int to = count - 1;
    while (to >= from && toAxis(m_plotter->point(curve.series, to).time) > hi)
        --to;
    to = std::min(to + 1, count - 1);
    const auto put = [&](int i, double previous, bool step) {
        const double x = toAxis(m_plotter->point(curve.series, i).time);
        if (step)
            m_points.append(QPointF(x, previous));
        m_points.append(QPointF(x, y[size_t(i)]));
        *min = std::min(*min, y[size_t(i)]);
        *max = std::max(*max, y[size_t(i)]);
    };
    if (to - from + 1 <= 2 * columns) {
        for (int i = from; i <= to; ++i)
            put(i, i > from ? y[size_t(i - 1)] : 0, stepped && i > from && y[size_t(i - 1)] != y[size_t(i)]);
    } else {
        const double width = (hi - lo) / columns;
        Column column;
        int current = std::numeric_limits<int>::min();
        double previous = 0;
        bool started = false;
        const auto flush = [&] {
            if (column.first < 0)
                return;
            int order[4] = {column.first, std::min(column.low, column.high), std::max(column.low, column.high),
                            column.last};
            int done = -1;
            for (int i : order) {
                if (i == done)
                    continue;
                const bool step = stepped && started && previous != y[size_t(i)];
                put(i, previous, step);
                previous = y[size_t(i)];
                started = true;
                done = i;
            }
            column = Column();
        };
        for (int i = from; i <= to; ++i) {
            const double x = toAxis(m_plotter->point(curve.series, i).time);
            // Points outside the range fall into the columns at its edges.
            const int at = int(qBound(-1.0, std::floor((x - lo) / width), double(columns)));
            if (at != current) {
                flush();
                current = at;
            }
            column.add(i, y);
        }
        flush();
    }
    curve.line->replace(m_points);
}

void PlotDock::redraw()
{
    m_drawnRevision = m_plotter->revision();
    m_dirty = false;
    const qint64 origin = m_model->origin();
    m_origin = origin == TraceItem::NoStamp ? 0 : origin;
    if (!m_zoomed)
        dataRange(&m_start, &m_end);
    const double lo = toAxis(m_start);
    const double hi = toAxis(m_end);
    for (const Chart& chart : m_chartList) {
        if (auto* x = qobject_cast<QValueAxis*>(chart.x))
            x->setRange(lo, hi);
        else if (auto* dates = qobject_cast<QDateTimeAxis*>(chart.x)) {
            dates->setFormat(timeFormat(m_end - m_start));
            dates->setRange(QDateTime::fromMSecsSinceEpoch(m_start), QDateTime::fromMSecsSinceEpoch(m_end));
        }
        const int columns = std::max(int(chart.chart->plotArea().width()), 100);
        for (int i = 0; i < chart.tags.size(); ++i) {
            const int tag = chart.tags.at(i);
            double min = std::numeric_limits<double>::infinity();
            double max = -min;
            for (const Curve& curve : chart.curves) {
                if (m_plotter->tag(curve.series) == tag)
                    drawCurve(curve, lo, hi, columns, &min, &max);
            }
            QAbstractAxis* axis = chart.y.at(i);
            if (auto* category = qobject_cast<QCategoryAxis*>(axis)) {
                // A lane of bits runs from its number up by BitHeight.
                const double lift =
                    QRV16::dataType(unsigned(tag)) == QRV16::DataType::BitArray ? TracePlotter::BitHeight : 0.0;
                const QStringList names = m_plotter->tagLevelNames(tag);
                if (category->categoriesLabels() != names) {
                    for (const QString& label : category->categoriesLabels())
                        category->remove(label);
                    for (int n = 0; n < names.size(); ++n)
                        category->append(names.at(n), n + lift / 2);
                }
                category->setStartValue(-0.5);
                category->setRange(-0.5, names.isEmpty() ? 0.5 : double(names.size()) - 0.5 + lift);
            } else if (min <= max) {
                const double margin = std::max((max - min) * 0.05, 0.5);
                if (auto* dates = qobject_cast<QDateTimeAxis*>(axis))
                    dates->setRange(QDateTime::fromMSecsSinceEpoch(qint64(min - margin)),
                                    QDateTime::fromMSecsSinceEpoch(qint64(max + margin)));
                else if (auto* values = qobject_cast<QValueAxis*>(axis)) {
                    values->setRange(min - margin, max + margin);
                    values->applyNiceNumbers();
                }
            }
        }
    }
}

bool PlotDock::eventFilter(QObject* watched, QEvent* event)
{
    auto* view = qobject_cast<QChartView*>(watched->parent());
    if (!view || view->viewport() != watched)
        return QDockWidget::eventFilter(watched, event);
    const QRectF area = view->chart()->plotArea();
    if (area.width() <= 0)
        return QDockWidget::eventFilter(watched, event);
    // Where the pointer is, as a fraction of the plot's width.
    const auto fraction = [view, &area](const QPointF& pos) {
        const QPointF at = view->chart()->mapFromScene(view->mapToScene(pos.toPoint()));
        return qBound(0.0, (at.x() - area.left()) / area.width(), 1.0);
    };
    switch (event->type()) {
    case QEvent::Wheel: {
        const auto* wheel = static_cast<QWheelEvent*>(event);
        const QPoint delta = wheel->angleDelta();
        if (delta.x() != 0 || (wheel->modifiers() & Qt::ShiftModifier))
            pan(-double(delta.x() + delta.y()) / 1200.0);
        else if (delta.y() != 0)
            zoom(delta.y() > 0 ? 0.8 : 1.25, fraction(wheel->position()));
        redraw();
        return true;
    }
    case QEvent::MouseButtonPress: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::MiddleButton) {
            m_panFrom = fraction(mouse->position());
            return true;
        }
        if (mouse->button() == Qt::LeftButton) {
            if (!m_band)
                m_band = new QRubberBand(QRubberBand::Rectangle, view->viewport());
            m_band->setParent(view->viewport());
            m_bandFrom = fraction(mouse->position());
            m_bandTo = m_bandFrom;
            return true;
        }
        break;
    }
    case QEvent::MouseMove: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (m_panFrom >= 0) {
            const double at = fraction(mouse->position());
            pan(m_panFrom - at);
            m_panFrom = at;
            redraw();
            return true;
        }
        if (m_bandFrom >= 0) {
            m_bandTo = fraction(mouse->position());
            const QRectF scene = view->chart()->mapToScene(area).boundingRect();
            const QRect band = view->mapFromScene(scene).boundingRect();
            const int left = band.left() + int(std::min(m_bandFrom, m_bandTo) * band.width());
            const int right = band.left() + int(std::max(m_bandFrom, m_bandTo) * band.width());
            m_band->setGeometry(QRect(QPoint(left, band.top()), QPoint(right, band.bottom())));
            m_band->show();
            return true;
        }
        break;
    }
    case QEvent::MouseButtonRelease: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::MiddleButton) {
            m_panFrom = -1;
            return true;
        }
        if (mouse->button() == Qt::RightButton) {
            zoom(2.0, fraction(mouse->position()));
            redraw();
            return true;
        }
        if (mouse->button() == Qt::LeftButton && m_bandFrom >= 0) {
            m_band->hide();
            const double from = std::min(m_bandFrom, m_bandTo);
            const double to = std::max(m_bandFrom, m_bandTo);
            m_bandFrom = -1;
            // A click is no zoom.
            if ((to - from) * area.width() >= 3) {
                if (!m_zoomed)
                    dataRange(&m_start, &m_end);
                const double span = double(m_end - m_start);
                setRange(m_start + qint64(span * from), m_start + qint64(span * to));
                redraw();
            }
            return true;
        }
        break;
    }
    default: break;
    }
    return QDockWidget::eventFilter(watched, event);
}

void PlotDock::closeEvent(QCloseEvent* event)
{
    // Nothing is collected for a plot nobody sees.
    m_plotter->clearTags();
    QDockWidget::closeEvent(event);
}

bool PlotDock::save(const QString& path, const QByteArray& bytes)
{
    m_error.clear();
    return SaveFile::write(path, bytes, &m_error);
}

bool PlotDock::exportPng(const QString& path)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!m_area->grab().save(&buffer, "PNG")) {
        m_error = tr("Cannot draw the plot as PNG");
        return false;
    }
    return save(path, bytes);
}

bool PlotDock::exportCsv(const QString& path)
{
    const qint64 origin = m_model->origin();
    return save(path, m_plotter->toCsv(m_relative, origin == TraceItem::NoStamp ? 0 : origin));
}

void PlotDock::onExportPng()
{
    const QString path = QFileDialog::getSaveFileName(this, tr("Export plot as PNG"),
                                                      DocumentFlow::documentsPath() + QStringLiteral("/plot.png"),
                                                      tr("PNG images") + QStringLiteral(" (*.png)"));
    if (!path.isEmpty() && !exportPng(path))
        Q_EMIT message(m_error);
}

void PlotDock::onExportCsv()
{
    const QString path = QFileDialog::getSaveFileName(this, tr("Export plot as CSV"),
                                                      DocumentFlow::documentsPath() + QStringLiteral("/plot.csv"),
                                                      tr("CSV files") + QStringLiteral(" (*.csv)"));
    if (!path.isEmpty() && !exportCsv(path))
        Q_EMIT message(m_error);
}
