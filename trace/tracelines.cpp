// SPDX-License-Identifier: MIT
#include "trace/tracelines.h"

#include "trace/traceitem.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

// Ids are unique across stores: lines move between them.
std::atomic<quint64> nextId{1};

// Trace text is mostly ASCII: narrowed without a detour through a buffer.
QByteArray utf8(const QString& text)
{
    const qsizetype n = text.size();
    QByteArray bytes(n, Qt::Uninitialized);
    const ushort* from = text.utf16();
    char* to = bytes.data();
    for (qsizetype i = 0; i < n; ++i) {
        if (from[i] >= 0x80)
            return text.toUtf8();
        to[i] = char(from[i]);
    }
    return bytes;
}

qint64 textWeight(const QString& text)
{
    return qint64(sizeof(QString)) + text.size() * 2;
}

} // namespace

TraceLines::TraceLines() = default;

TraceLines::~TraceLines()
{
    clear();
}

TraceLines::TraceLines(TraceLines&& other) noexcept
{
    *this = std::move(other);
}

TraceLines& TraceLines::operator=(TraceLines&& other) noexcept
{
    if (this == &other)
        return *this;
    clear();
    m_slots.swap(other.m_slots);
    m_chunks.swap(other.m_chunks);
    std::swap(m_tail, other.m_tail);
    m_names.swap(other.m_names);
    m_nameIds.swap(other.m_nameIds);
    m_wideSources.swap(other.m_wideSources);
    m_replaced.swap(other.m_replaced);
    m_notes.swap(other.m_notes);
    m_trees.swap(other.m_trees);
    std::swap(m_weight, other.m_weight);
    return *this;
}

char* TraceLines::allocate(size_t size)
{
    if (size == 0)
        return nullptr;
    size = (size + 7) & ~size_t(7);
    if (size > ChunkSize / 4) {
        char* own = static_cast<char*>(std::malloc(size));
        m_chunks.emplace(own, Chunk{size, size, 1});
        return own;
    }
    Chunks::iterator tail = m_tail ? m_chunks.find(m_tail) : m_chunks.end();
    if (tail == m_chunks.end() || tail->second.size - tail->second.used < size) {
        // A full tail whose lines all went is given back now.
        if (tail != m_chunks.end() && tail->second.live == 0)
            freeChunk(tail);
        m_tail = static_cast<char*>(std::malloc(ChunkSize));
        tail = m_chunks.emplace(m_tail, Chunk{ChunkSize, 0, 0}).first;
    }
    char* at = m_tail + tail->second.used;
    tail->second.used += size;
    ++tail->second.live;
    return at;
}

void TraceLines::release(const char* data)
{
    if (!data)
        return;
    // The chunk that starts at or before the bytes.
    auto chunk = m_chunks.upper_bound(data);
    Q_ASSERT(chunk != m_chunks.begin());
    --chunk;
    if (--chunk->second.live == 0 && chunk->first != m_tail)
        freeChunk(chunk);
}

void TraceLines::freeChunk(Chunks::iterator chunk)
{
    if (chunk->first == m_tail)
        m_tail = nullptr;
    std::free(const_cast<char*>(chunk->first));
    m_chunks.erase(chunk);
}

quint16 TraceLines::intern(const QString& name, bool* wide)
{
    *wide = false;
    const auto found = m_nameIds.constFind(name);
    if (found != m_nameIds.cend())
        return *found;
    if (m_names.size() >= std::numeric_limits<quint16>::max()) {
        *wide = true;
        return 0;
    }
    const quint16 id = quint16(m_names.size());
    m_names.append(name);
    m_nameIds.insert(name, id);
    return id;
}

TraceLines::Slot TraceLines::store(const Line& line, quint64 id)
{
    const QByteArray text = line.kind == Text ? utf8(line.text) : QByteArray();
    const QByteArray& bytes = line.kind == Text ? text : line.bytes;
    const bool origin = !line.originFile.isEmpty();
    Slot slot{};
    slot.id = id;
    slot.stamp = line.stamp;
    slot.size = quint32(bytes.size());
    slot.color = qint8(line.color);
    slot.src = line.src;
    slot.dst = line.dst;
    bool wide = false;
    slot.source = intern(line.source, &wide);
    if (wide) {
        slot.flags |= WideSource;
        m_wideSources.insert(id, line.source);
    }
    if (line.kind == Message)
        slot.flags |= IsMessage;
    if (line.decode)
        slot.flags |= Decode;
    if (line.hungarian)
        slot.flags |= Hungarian;
    char* data = allocate((origin ? OriginSize : 0) + size_t(bytes.size()));
    slot.data = data;
    if (origin) {
        slot.flags |= HasOrigin;
        bool unused = false;
        const quint32 file = intern(line.originFile, &unused);
        std::memcpy(data, &file, sizeof file);
        std::memcpy(data + sizeof file, &line.originLine, sizeof line.originLine);
        data += OriginSize;
    }
    if (!bytes.isEmpty())
        std::memcpy(data, bytes.constData(), size_t(bytes.size()));
    return slot;
}

quint64 TraceLines::insert(int row, const Line& line)
{
    row = qBound(0, row, size());
    const quint64 id = nextId.fetch_add(1, std::memory_order_relaxed);
    m_slots.insert(m_slots.begin() + row, store(line, id));
    m_weight += weight(row);
    return id;
}

const char* TraceLines::bytesOf(const Slot& slot) const
{
    return slot.data && (slot.flags & HasOrigin) ? slot.data + OriginSize : slot.data;
}

void TraceLines::drop(const Slot& slot)
{
    release(slot.data);
    if (slot.flags & WideSource)
        m_wideSources.remove(slot.id);
    if (slot.flags & Replaced)
        m_replaced.remove(slot.id);
    if (slot.flags & HasNote)
        m_notes.remove(slot.id);
    if (slot.flags & HasTree)
        m_trees.erase(slot.id);
}

void TraceLines::remove(int row, int count)
{
    if (row < 0 || row >= size() || count <= 0)
        return;
    count = qMin(count, size() - row);
    for (int i = row; i < row + count; ++i) {
        m_weight -= weight(i);
        drop(m_slots[size_t(i)]);
    }
    m_slots.erase(m_slots.begin() + row, m_slots.begin() + row + count);
}

void TraceLines::clear()
{
    m_slots.clear();
    m_trees.clear();
    m_replaced.clear();
    m_notes.clear();
    m_wideSources.clear();
    for (auto& chunk : m_chunks)
        std::free(const_cast<char*>(chunk.first));
    m_chunks.clear();
    m_tail = nullptr;
    m_weight = 0;
}

TraceLines::Slot TraceLines::adopt(const Slot& from, TraceLines& other)
{
    Slot slot = from;
    const bool origin = from.flags & HasOrigin;
    const size_t total = (origin ? OriginSize : 0) + size_t(from.size);
    char* data = allocate(total);
    if (total > 0)
        std::memcpy(data, from.data, total);
    slot.data = data;
    // Names are numbered per store.
    const QString name = from.flags & WideSource ? other.m_wideSources.value(from.id)
                                                 : other.m_names.at(from.source);
    bool wide = false;
    slot.flags &= quint8(~WideSource);
    slot.source = intern(name, &wide);
    if (wide) {
        slot.flags |= WideSource;
        m_wideSources.insert(from.id, name);
    }
    if (origin) {
        quint32 file = 0;
        std::memcpy(&file, from.data, sizeof file);
        bool unused = false;
        file = intern(other.m_names.value(qsizetype(file)), &unused);
        std::memcpy(data, &file, sizeof file);
    }
    if (from.flags & Replaced)
        m_replaced.insert(from.id, other.m_replaced.take(from.id));
    if (from.flags & HasNote)
        m_notes.insert(from.id, other.m_notes.take(from.id));
    if (from.flags & HasTree) {
        auto tree = other.m_trees.find(from.id);
        if (tree != other.m_trees.end()) {
            m_trees.emplace(from.id, std::move(tree->second));
            other.m_trees.erase(tree);
        }
    }
    return slot;
}

TraceLines TraceLines::take(int row, int count)
{
    TraceLines taken;
    if (row < 0 || row >= size() || count <= 0)
        return taken;
    count = qMin(count, size() - row);
    if (row == 0 && count == size()) {
        taken = std::move(*this);
        return taken;
    }
    for (int i = row; i < row + count; ++i) {
        const Slot& slot = m_slots[size_t(i)];
        taken.m_slots.push_back(taken.adopt(slot, *this));
        taken.m_weight += taken.weight(taken.size() - 1);
    }
    remove(row, count);
    return taken;
}

void TraceLines::insert(int row, TraceLines&& lines)
{
    if (lines.isEmpty())
        return;
    row = qBound(0, row, size());
    if (isEmpty()) {
        *this = std::move(lines);
        return;
    }
    std::deque<Slot> adopted;
    for (const Slot& slot : lines.m_slots)
        adopted.push_back(adopt(slot, lines));
    m_slots.insert(m_slots.begin() + row, adopted.begin(), adopted.end());
    for (int i = row; i < row + int(adopted.size()); ++i)
        m_weight += weight(i);
    lines.clear();
}

TraceLines::View TraceLines::view(int row) const
{
    const Slot& slot = m_slots[size_t(row)];
    View v;
    v.id = slot.id;
    v.kind = slot.flags & IsMessage ? Message : Text;
    v.color = StyleColor(slot.color);
    v.src = slot.src;
    v.dst = slot.dst;
    v.stamp = slot.stamp;
    v.bytes = QByteArrayView(bytesOf(slot), qsizetype(slot.size));
    v.decode = slot.flags & Decode;
    v.hungarian = slot.flags & Hungarian;
    v.hasOrigin = slot.flags & HasOrigin;
    v.replaced = slot.flags & Replaced;
    return v;
}

quint64 TraceLines::id(int row) const
{
    return m_slots[size_t(row)].id;
}

qint64 TraceLines::stamp(int row) const
{
    return m_slots[size_t(row)].stamp;
}

StyleColor TraceLines::color(int row) const
{
    return StyleColor(m_slots[size_t(row)].color);
}

TraceLines::Kind TraceLines::kind(int row) const
{
    return m_slots[size_t(row)].flags & IsMessage ? Message : Text;
}

int TraceLines::find(quint64 id, int hint) const
{
    const int n = size();
    if (hint >= 0 && hint < n && m_slots[size_t(hint)].id == id)
        return hint;
    // Lines sorted in by time and lines put back break the order only
    // locally: look around where the order says.
    int lo = 0;
    int hi = n;
    while (lo < hi) {
        const int mid = lo + (hi - lo) / 2;
        if (m_slots[size_t(mid)].id < id)
            lo = mid + 1;
        else
            hi = mid;
    }
    if (lo < n && m_slots[size_t(lo)].id == id)
        return lo;
    constexpr int Around = 256;
    for (int i = qMax(0, lo - Around); i < qMin(n, lo + Around); ++i) {
        if (m_slots[size_t(i)].id == id)
            return i;
    }
    for (int i = n - 1; i >= 0; --i) {
        if (m_slots[size_t(i)].id == id)
            return i;
    }
    return -1;
}

QString TraceLines::source(int row) const
{
    const Slot& slot = m_slots[size_t(row)];
    if (slot.flags & WideSource)
        return m_wideSources.value(slot.id);
    return m_names.at(slot.source);
}

QString TraceLines::text(int row) const
{
    const Slot& slot = m_slots[size_t(row)];
    if (slot.flags & Replaced)
        return m_replaced.value(slot.id);
    if (slot.flags & IsMessage)
        return QString();
    return QString::fromUtf8(bytesOf(slot), qsizetype(slot.size));
}

void TraceLines::setText(int row, const QString& text)
{
    Slot& slot = m_slots[size_t(row)];
    m_weight -= weight(row);
    slot.flags |= Replaced;
    m_replaced.insert(slot.id, text);
    m_weight += weight(row);
}

QString TraceLines::note(int row) const
{
    const Slot& slot = m_slots[size_t(row)];
    return slot.flags & HasNote ? m_notes.value(slot.id) : QString();
}

void TraceLines::setNote(int row, const QString& note)
{
    Slot& slot = m_slots[size_t(row)];
    m_weight -= weight(row);
    if (note.isEmpty()) {
        slot.flags &= quint8(~HasNote);
        m_notes.remove(slot.id);
    } else {
        slot.flags |= HasNote;
        m_notes.insert(slot.id, note);
    }
    m_weight += weight(row);
}

QString TraceLines::originFile(int row) const
{
    const Slot& slot = m_slots[size_t(row)];
    if (!(slot.flags & HasOrigin))
        return QString();
    quint32 file = 0;
    std::memcpy(&file, slot.data, sizeof file);
    return m_names.value(qsizetype(file));
}

qint64 TraceLines::originLine(int row) const
{
    const Slot& slot = m_slots[size_t(row)];
    if (!(slot.flags & HasOrigin))
        return 0;
    qint64 line = 0;
    std::memcpy(&line, slot.data + sizeof(quint32), sizeof line);
    return line;
}

TraceItem* TraceLines::tree(int row) const
{
    const Slot& slot = m_slots[size_t(row)];
    if (!(slot.flags & HasTree))
        return nullptr;
    const auto found = m_trees.find(slot.id);
    return found == m_trees.end() ? nullptr : found->second.get();
}

TraceItem* TraceLines::setTree(int row, std::unique_ptr<TraceItem> tree)
{
    Slot& slot = m_slots[size_t(row)];
    if (!tree) {
        slot.flags &= quint8(~HasTree);
        m_trees.erase(slot.id);
        return nullptr;
    }
    tree->setLine(slot.id);
    slot.flags |= HasTree;
    TraceItem* item = tree.get();
    m_trees[slot.id] = std::move(tree);
    return item;
}

quint64 TraceLines::treeLine(const TraceItem* tree) const
{
    if (!tree || tree->parent())
        return 0;
    const auto found = m_trees.find(tree->line());
    return found != m_trees.end() && found->second.get() == tree ? tree->line() : 0;
}

qint64 TraceLines::weight(int row) const
{
    const Slot& slot = m_slots[size_t(row)];
    qint64 w = qint64(sizeof(Slot)) + qint64(slot.size);
    if (slot.flags & Replaced)
        w += textWeight(m_replaced.value(slot.id));
    if (slot.flags & HasNote)
        w += textWeight(m_notes.value(slot.id));
    return w;
}

size_t TraceLines::memoryUse() const
{
    size_t bytes = m_slots.size() * sizeof(Slot);
    for (const auto& chunk : m_chunks)
        bytes += chunk.second.size;
    for (const QString& text : m_replaced)
        bytes += size_t(textWeight(text));
    for (const QString& text : m_notes)
        bytes += size_t(textWeight(text));
    for (const QString& name : m_names)
        bytes += size_t(textWeight(name));
    return bytes;
}
