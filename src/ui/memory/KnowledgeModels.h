#pragma once

#include <QAbstractListModel>
#include <string>
#include <vector>

#include "memory/KnowledgeKeeper.h"

namespace quillet {

/// The categories with the number of their items, behind a row for all of them.
class CategoryModel final : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

    void show(const KnowledgeKeeper::Snapshot& base);
    /// None for the row of all.
    [[nodiscard]] const Knowledge::Category* at(int row) const;
    [[nodiscard]] std::size_t itemsIn(int row) const;
    /// Where a category stands; the row of all where it is there no more.
    [[nodiscard]] int rowOf(const std::string& id) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;

private:
    KnowledgeKeeper::Snapshot base_;
    std::vector<std::size_t> counts_;  // the row of all first
};

/// Items of the base, those seen last first.
class ItemModel final : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

    /// Shows the items of a category, none: of all, that hold every word of the query.
    void show(const KnowledgeKeeper::Snapshot& base, const Knowledge::Category* category,
              const std::string& query);
    [[nodiscard]] const Knowledge::Item* at(int row) const;
    [[nodiscard]] int rowOf(const std::string& id) const;  ///< -1: it is not shown

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;

private:
    KnowledgeKeeper::Snapshot base_;
    std::vector<const Knowledge::Item*> items_;  // of base_
};

}  // namespace quillet
