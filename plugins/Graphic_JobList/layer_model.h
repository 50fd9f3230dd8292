#pragma once
// The layers of the open job as the panel lists them: matrix order, which
// are shown and in which palette colour, the work layer and the layers an
// operation also acts on ("affected"). Plain data, no kernel and no widgets.
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVector>
#include <string>
#include <vector>

#include "TOLVA_API_types.h"

namespace TOLVA {
namespace JOBLIST {

struct LayerRow {
    QString name;
    QString context;
    QString type;
    bool shown = false;
    bool affected = false;
    int color = -1;     // palette index, kept while hidden so the layer gets it back
    int selected = 0;   // selected features, as last counted
};

class LayerModel {
public:
    // Lists the matrix and applies the first view: the first signal layer is
    // shown and is the work layer, the first drill layer is shown beside it.
    void reset(const std::vector<API::matrix_info>& matrix);
    void clear();

    const QVector<LayerRow>& rows() const { return m_rows; }
    int size() const { return m_rows.size(); }
    bool empty() const { return m_rows.isEmpty(); }
    int indexOf(const QString& name) const;
    bool valid(int row) const { return row >= 0 && row < m_rows.size(); }

    // Each returns false when nothing changed (row out of range or same state).
    bool setShown(int row, bool shown);
    // The work layer is always shown: making a hidden layer the work layer shows it.
    bool setWork(int row);
    bool setAffected(int row, bool affected);
    void setSelectedCount(int row, int count);

    int workRow() const { return m_work; }
    QString workName() const { return valid(m_work) ? m_rows[m_work].name : QString(); }
    int totalSelected() const;

    // What the view reads: shown names in drawing order (matrix order), their
    // palette indices, and the layers edits act on (work layer first).
    QStringList shownNames() const;
    QVariantList colorList() const;
    QStringList affectedNames() const;

    // Layer sets of the selection requests, as kernel names.
    std::vector<std::string> scopeLayers() const;   // work layer, then the affected ones
    std::vector<std::string> boardLayers() const;   // context "board", matrix order
    std::vector<std::string> allLayers() const;
    // Where a click looks for a feature to highlight: the scope, then the other shown layers.
    std::vector<std::string> lookupLayers() const;

private:
    int freeColor(int except) const;

    QVector<LayerRow> m_rows;
    int m_work = -1;
};

}  // namespace JOBLIST
}  // namespace TOLVA
