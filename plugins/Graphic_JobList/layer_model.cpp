#include "layer_model.h"

#include <algorithm>

#include "LayerPalette.h"

namespace TOLVA {
namespace JOBLIST {

namespace {
int firstOfType(const QVector<LayerRow>& rows, const QString& type) {
    for (int i = 0; i < rows.size(); ++i)
        if (rows[i].type == type) return i;
    return -1;
}

void appendName(std::vector<std::string>& out, const QString& name) {
    const std::string s = name.toStdString();
    if (std::find(out.begin(), out.end(), s) == out.end()) out.push_back(s);
}
}  // namespace

void LayerModel::reset(const std::vector<API::matrix_info>& matrix) {
    clear();
    for (const API::matrix_info& m : matrix)
        m_rows.append({QString::fromStdString(m.name), QString::fromStdString(m.context),
                       QString::fromStdString(m.type)});
    int top = firstOfType(m_rows, QStringLiteral("signal"));
    if (top < 0 && !m_rows.isEmpty()) top = 0;  // a board without copper still gets a work layer
    if (top >= 0) setWork(top);
    const int drill = firstOfType(m_rows, QStringLiteral("drill"));
    if (drill >= 0) setShown(drill, true);
}

void LayerModel::clear() {
    m_rows.clear();
    m_work = -1;
}

int LayerModel::indexOf(const QString& name) const {
    for (int i = 0; i < m_rows.size(); ++i)
        if (m_rows[i].name == name) return i;
    return -1;
}

// The layer's own colour when no other shown layer has it, else the lowest
// free one; past ten shown layers colours repeat.
int LayerModel::freeColor(int except) const {
    QVector<bool> used(LayerPalette::kSize, false);
    int shownCount = 0;
    for (int i = 0; i < m_rows.size(); ++i) {
        if (i == except || !m_rows[i].shown) continue;
        ++shownCount;
        if (m_rows[i].color >= 0 && m_rows[i].color < LayerPalette::kSize) used[m_rows[i].color] = true;
    }
    const int own = m_rows[except].color;
    if (own >= 0 && own < LayerPalette::kSize && !used[own]) return own;
    for (int c = 0; c < LayerPalette::kSize; ++c)
        if (!used[c]) return c;
    return shownCount % LayerPalette::kSize;
}

bool LayerModel::setShown(int row, bool shown) {
    if (!valid(row) || m_rows[row].shown == shown) return false;
    if (shown) m_rows[row].color = freeColor(row);
    m_rows[row].shown = shown;
    return true;
}

bool LayerModel::setWork(int row) {
    if (!valid(row)) return false;
    const bool shownNow = setShown(row, true);
    if (m_work == row) return shownNow;
    m_work = row;
    return true;
}

bool LayerModel::setAffected(int row, bool affected) {
    if (!valid(row) || m_rows[row].affected == affected) return false;
    m_rows[row].affected = affected;
    return true;
}

void LayerModel::setSelectedCount(int row, int count) {
    if (valid(row)) m_rows[row].selected = count;
}

int LayerModel::totalSelected() const {
    int total = 0;
    for (const LayerRow& r : m_rows) total += r.selected;
    return total;
}

QStringList LayerModel::shownNames() const {
    QStringList out;
    for (const LayerRow& r : m_rows)
        if (r.shown) out.append(r.name);
    return out;
}

QVariantList LayerModel::colorList() const {
    QVariantList out;
    for (const LayerRow& r : m_rows)
        if (r.shown) out.append(r.color);
    return out;
}

QStringList LayerModel::affectedNames() const {
    QStringList out;
    for (const std::string& name : scopeLayers()) out.append(QString::fromStdString(name));
    return out;
}

std::vector<std::string> LayerModel::scopeLayers() const {
    std::vector<std::string> out;
    if (valid(m_work)) appendName(out, m_rows[m_work].name);
    for (const LayerRow& r : m_rows)
        if (r.affected) appendName(out, r.name);
    return out;
}

std::vector<std::string> LayerModel::boardLayers() const {
    std::vector<std::string> out;
    for (const LayerRow& r : m_rows)
        if (r.context == QLatin1String("board")) appendName(out, r.name);
    return out;
}

std::vector<std::string> LayerModel::allLayers() const {
    std::vector<std::string> out;
    for (const LayerRow& r : m_rows) appendName(out, r.name);
    return out;
}

std::vector<std::string> LayerModel::lookupLayers() const {
    std::vector<std::string> out = scopeLayers();
    for (const LayerRow& r : m_rows)
        if (r.shown) appendName(out, r.name);
    return out;
}

}  // namespace JOBLIST
}  // namespace TOLVA
