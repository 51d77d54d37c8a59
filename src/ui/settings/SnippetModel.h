#pragma once

#include <QAbstractTableModel>
#include <expected>
#include <span>
#include <string>
#include <vector>

#include "settings/QuilletSettings.h"

namespace quillet {

/// The snippets as rows of a table.
class SnippetModel : public QAbstractTableModel {
public:
    enum Column { said, typed, columns };

    explicit SnippetModel(QObject* parent) : QAbstractTableModel(parent) {}

    void setSnippets(std::vector<Snippet> snippets);
    [[nodiscard]] const Snippet& snippet(int row) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;

private:
    std::vector<Snippet> snippets_;
};

/// Whether a snippet may be kept beside all others, one of which may be an older form of it. The
/// error is a sentence for the user.
[[nodiscard]] std::expected<void, std::string> checkSnippet(const Snippet& snippet,
                                                            std::span<const Snippet> all);

}  // namespace quillet
