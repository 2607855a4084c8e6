// SPDX-License-Identifier: MIT
#pragma once

// A trace as a window shows it: the view with the find and filter bars under
// it, over a trace of its own that reads messages with the given definitions.

#include "qrv16/messageparser.h"
#include "qrv16/tagdatalut.h"
#include "trace/tracemodel.h"
#include "trace/widgets/filterbar.h"
#include "trace/widgets/findbar.h"
#include "trace/widgets/tracesearch.h"
#include "trace/widgets/traceview.h"
#include "tests/support/definitions.h"

#include <QVBoxLayout>
#include <QtTest>

#include <memory>

struct TraceWindow
{
    explicit TraceWindow(const QByteArray& xml = pumpDefinitions, int limit = TraceModel::DefaultLimit)
        : tags(tagsOf(xml))
    {
        model = new TraceModel(&frame);
        model->setTags(tags.get());
        model->setLimit(limit);
        view = new TraceView(model, &frame);
        view->setTags(tags.get());
        search = new TraceSearch(view, &frame);
        search->setTags(tags.get());
        auto* layout = new QVBoxLayout(&frame);
        layout->addWidget(view, 1);
        layout->addWidget(search->findBar());
        layout->addWidget(search->filterBar());
        frame.resize(800, 400);
    }

    bool show()
    {
        frame.show();
        return QTest::qWaitForWindowExposed(&frame);
    }

    void status(const QString& text, StyleColor color = ColorText)
    {
        model->append(QStringLiteral("Main"), text, color);
    }

    void send(const QString& notation, const QString& source = QStringLiteral("1"))
    {
        QRV16::MessageParser parser(tags.get());
        const QRV16::Message message = parser.parse(notation);
        QVERIFY2(!parser.hasError(), qPrintable(parser.errorMessage()));
        model->append(source, message, ColorMessageTx1, QDateTime());
    }

    // Adds `count` status lines and waits until the view has them.
    bool addLines(int count)
    {
        for (int i = 0; i < count; ++i)
            status(QStringLiteral("line %1").arg(model->lineCount()));
        // Lines reach the view in batches; a busy machine may take a while.
        if (!QTest::qWaitFor([this] { return model->rowCount() == model->lineCount(); }, 30000))
            return false;
        QCoreApplication::processEvents();
        return true;
    }

    // The top-level line whose text is `text`.
    QModelIndex line(const QString& text) const
    {
        for (int row = 0; row < model->rowCount(); ++row) {
            if (textOf(model->index(row, 0)) == text)
                return model->index(row, 0);
        }
        return QModelIndex();
    }

    static QString textOf(const QModelIndex& index)
    {
        return index.siblingAtColumn(TraceModel::TextColumn).data().toString();
    }

    // The text of the line at the top of the view.
    QString topText() const { return textOf(view->indexAt(QPoint(5, 5))); }

    std::unique_ptr<QRV16::TagDataLut> tags;
    QWidget frame;
    TraceModel* model;
    TraceView* view;
    TraceSearch* search;
};
