// SPDX-License-Identifier: MIT
#pragma once

#include "qrv16/message.h"
#include "qrv16/plotvalue.h"
#include "qrv16/types.h"
#include "trace/stylecolor.h"
#include "trace/tracemodel.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVector>

#include <map>
#include <vector>

class QModelIndex;
class QTimer;
class TraceItem;
class TraceModel;

namespace QRV16 {
class TagDataLut;
}

// The values of chosen tags over time: one point per message line of the
// trace that holds the tag (its first element of that tag, at any depth),
// kept in step with the trace as lines arrive and leave, at O(1) a line.
// A tag's points go into one series per channel and direction (a stream,
// "WellLevel 1 received"), so a request and its answer are two curves.
// Enum levels and bits seen belong to the tag, shared by its streams.
// Widget-free; the plot dock draws what this collects.
class TracePlotter : public QObject
{
    Q_OBJECT

public:
    struct Point : QRV16::PlotValue
    {
        qint64 time = 0;                 // the line's time, ms since the epoch
        quint64 line = 0; // the top-level line's id (TraceModel::Line); dropped with it
    };

    explicit TracePlotter(TraceModel* model, QObject* parent = nullptr);

    // Not owned; must stay valid until replaced. Names and levels only:
    // the points keep their values.
    void setTags(const QRV16::TagDataLut* tags);

    // The tag of an element line of the trace when it can be plotted,
    // -1 for any other line.
    static int plottableTag(const TraceItem* line, const QRV16::TagDataLut* tags);
    // Collects the tag from every line of the trace; false when it is
    // plotted already or cannot be plotted. The first lines are collected at
    // once, the rest of a long trace in slices of the event loop, oldest
    // first, so that the window stays live; removing the tag stops it.
    bool addTag(int tag);
    // Whether a tag is still being collected from the trace.
    bool isCollecting() const;
    void removeTag(int tag);
    void clearTags();
    // In the order they were added.
    QVector<int> tags() const;
    QString tagName(int tag) const;
    // Enums and Bools: values that stand for names, drawn as steps.
    bool isSteppedTag(int tag) const;
    // The values of a stepped tag seen in the trace, ascending, and their
    // names; a BitArray's lanes by bit number.
    QVector<qint64> tagLevels(int tag) const;
    QStringList tagLevelNames(int tag) const;

    // The streams, grouped by tag in the order of tags(), then by channel,
    // received before sent. A stream comes with its first point.
    int seriesCount() const { return int(m_series.size()); }
    int tag(int series) const { return m_series.at(size_t(series)).tag; }
    QString channel(int series) const { return m_series.at(size_t(series)).channel; }
    LineDirection direction(int series) const { return m_series.at(size_t(series)).direction; }
    // "WellLevel 1 received"
    QString name(int series) const;
    QRV16::DataType type(int series) const { return QRV16::dataType(unsigned(tag(series))); }
    bool isStepped(int series) const { return isSteppedTag(tag(series)); }

    int pointCount(int series) const;
    const Point& point(int series, int n) const;

    // The curves of a series: one value for most types, x and y of an
    // ExtPoint ("Where.x 1 sent"), one lane per bit of a BitArray (named
    // bits and bits seen set in any stream of the tag).
    int curveCount(int series) const;
    QString curveName(int series, int curve) const;
    // What the dock draws, for every point in order: enum values as their
    // rank among the values seen (see tagLevels()), a bit as its lane plus 0
    // or BitHeight.
    void curveValues(int series, int curve, std::vector<double>* values) const;
    static constexpr double BitHeight = 0.6;
    // The plain value of a curve for the CSV file.
    double plainValue(int series, int curve, int n) const;
    QVector<qint64> levels(int series) const { return tagLevels(tag(series)); }
    QStringList levelNames(int series) const { return tagLevelNames(tag(series)); }
    QString valueName(int series, int curve, int n) const;

    // Changes with every point added or removed: the dock redraws at most
    // every few tens of milliseconds when it has moved.
    quint64 revision() const { return m_revision; }

    // One record per point and curve: time (absolute, or seconds from
    // `origin` when `relative`), curve name, value and its name.
    QByteArray toCsv(bool relative, qint64 origin) const;

Q_SIGNALS:
    // A tag or a stream came or went: the dock builds its charts again.
    void tagsChanged();
    // Every tag added has been collected from the whole trace.
    void collectingFinished();

private:
    struct Tag
    {
        int tag = 0;
        // Counts of the values seen in all its streams, for enum levels
        // (empty unless an enum); bits seen set.
        std::map<qint64, int> seen;
        quint64 bitsSeen = 0;
        // The next row to collect from, -1 once the whole trace is in.
        int cursor = -1;
    };
    struct Series
    {
        int tag = 0;
        QString channel;
        LineDirection direction = NoDirection;
        std::vector<Point> points; // in trace order, from `first` on
        size_t first = 0;
    };

    void onAppended(const QModelIndex& index);
    void onRowsAboutToBeRemoved(const QModelIndex& parent, int first, int last);
    void onAboutToBeReset();
    // True when the line holds the tag; `created` set when its stream is new.
    bool addLine(Tag& tag, const TraceModel::Line& line, const QRV16::Message& message, int start, int end,
                 bool* created);
    Series& stream(const Tag& tag, const TraceModel::Line& line, bool* created);
    void addPoint(Tag& tag, Series& series, const Point& point);
    void dropFront(Series& series, size_t count);
    void forget(Series& series, const Point& point);
    // Collects rows from the tag's cursor on, at least `atLeast` of them,
    // then until the slice's time is up; true when the trace is done.
    bool collect(Tag& tag, int atLeast, const QElapsedTimer& clock);
    void collectSlice();
    Tag* findTag(int tag);
    const Tag* findTag(int tag) const;
    int tagOrder(int tag) const;
    QVector<int> lanes(int tag) const;

    TraceModel* m_model; // Not owned.
    const QRV16::TagDataLut* m_tags = nullptr; // Not owned.
    std::vector<Tag> m_tagList;
    std::vector<Series> m_series;
    quint64 m_revision = 0;
    QTimer* m_collectTimer; // Owned (child).
};
