// SPDX-License-Identifier: MIT
#pragma once

#include "trace/traceoptions.h"

#include <QDockWidget>
#include <QList>
#include <QPointF>
#include <QPointer>
#include <QRubberBand>
#include <QString>
#include <QVector>

#include <vector>

class QAbstractAxis;
class QAction;
class QChart;
class QChartView;
class QLineSeries;
class QMenu;
class QTimer;
class QVBoxLayout;
class TraceModel;
class TracePlotter;

namespace QRV16 {
class TagDataLut;
}

// Charts of tag values over the trace's time, several tags in one chart
// with an axis each or stacked one chart per tag; each stream of a tag
// (channel and direction) a curve on its tag's axis. Follows new lines with
// a redraw at most every RedrawMilliseconds; each curve gets at most a few
// points per pixel column, so a redraw costs the same at any trace size.
class PlotDock : public QDockWidget
{
    Q_OBJECT

public:
    static constexpr int RedrawMilliseconds = 50;

    // Shows time as the model does until setOptions() says otherwise.
    explicit PlotDock(TraceModel* model, QWidget* parent = nullptr);

    TracePlotter* plotter() const { return m_plotter; }
    // Not owned; must stay valid until replaced.
    void setTags(const QRV16::TagDataLut* tags);
    // Shows the dock with the tag added; false when it cannot be plotted.
    bool addTag(int tag);

    bool isStacked() const;
    void setStacked(bool stacked);

    // The time range shown, in ms since the epoch; the whole trace while
    // not zoomed.
    bool isZoomed() const { return m_zoomed; }
    qint64 rangeStart() const { return m_start; }
    qint64 rangeEnd() const { return m_end; }
    void setRange(qint64 start, qint64 end);
    // By `factor` (below 1 zooms in) around `at`, a fraction of the width.
    void zoom(double factor, double at = 0.5);
    // By a fraction of the range shown; positive goes later.
    void pan(double fraction);
    void resetZoom();

    // The charts, one or one per tag, and the curves drawn in them, in the
    // plotter's order of streams.
    QList<QChartView*> views() const;
    QList<QLineSeries*> curves() const;
    // Draws what the plotter holds now.
    void redraw();

    // Written through a ".tmp" file with a ".bak" of the old one; false
    // with errorString() set when that fails.
    bool exportPng(const QString& path);
    bool exportCsv(const QString& path);
    QString errorString() const { return m_error; }

public Q_SLOTS:
    // Absolute or relative time, as the trace shows it.
    void setOptions(const TraceOptions& options);
    void onExportPng();
    void onExportCsv();

Q_SIGNALS:
    void message(const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    struct Curve
    {
        QLineSeries* line = nullptr; // Owned by its chart.
        int series = 0;
        int curve = 0;
    };
    struct Chart
    {
        QChartView* view = nullptr; // Owned (child).
        QChart* chart = nullptr;    // Owned by the view.
        QAbstractAxis* x = nullptr;
        QVector<QAbstractAxis*> y; // per tag shown, in order
        QVector<int> tags;
        QVector<Curve> curves;
    };

    void rebuild();
    void addChart(const QVector<int>& tags);
    QAbstractAxis* createValueAxis(int tag);
    void onTick();
    void updateRemoveMenu();
    void dataRange(qint64* start, qint64* end) const;
    double toAxis(qint64 ms) const;
    void drawCurve(const Curve& curve, double lo, double hi, int columns, double* min, double* max);
    bool save(const QString& path, const QByteArray& bytes);

    TraceModel* m_model; // Not owned.
    TracePlotter* m_plotter = nullptr; // Owned (child).
    QWidget* m_area = nullptr;
    QVBoxLayout* m_charts = nullptr;
    QAction* m_act_stacked = nullptr;
    QAction* m_act_reset = nullptr;
    QAction* m_act_png = nullptr;
    QAction* m_act_csv = nullptr;
    QMenu* m_mnu_remove = nullptr;
    QTimer* m_timer = nullptr;
    std::vector<Chart> m_chartList;
    bool m_relative = false;
    bool m_zoomed = false;
    bool m_dirty = true;
    qint64 m_start = 0;
    qint64 m_end = 0;
    qint64 m_origin = 0;
    quint64 m_drawnRevision = ~quint64(0);
    // Reused by every redraw.
    std::vector<double> m_values;
    QList<QPointF> m_points;
    // A drag with the middle button pans, one with the left button zooms
    // into the band it spans; both as fractions of the plot's width.
    double m_panFrom = -1;
    double m_bandFrom = -1;
    double m_bandTo = -1;
    QPointer<QRubberBand> m_band; // Owned by a view's viewport.
    QString m_error;
};
