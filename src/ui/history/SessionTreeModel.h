#pragma once

#include <QAbstractItemModel>
#include <QDate>
#include <optional>
#include <vector>

#include "store/SessionStore.h"

namespace quillet {

/// "All dictations", and below it the days with their sessions, the newest first.
class SessionTreeModel : public QAbstractItemModel {
public:
    /// What a row stands for; neither: everything.
    struct Choice {
        std::optional<QDate> day;
        std::optional<std::string> session;

        bool operator==(const Choice&) const = default;
    };

    explicit SessionTreeModel(const Calendar& calendar, QObject* parent = nullptr);

    /// Shows sessions, of one application where one is named.
    void setSessions(std::vector<VSession> sessions, const QString& application);

    [[nodiscard]] Choice choiceAt(const QModelIndex& index) const;
    [[nodiscard]] QModelIndex indexOf(const Choice& choice) const;

    [[nodiscard]] QModelIndex index(int row, int column,
                                    const QModelIndex& parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex& index) const override;
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;

private:
    struct Day {
        QDate date;
        std::vector<VSession> sessions;
        int entryCount = 0;
    };

    /// None for the first row.
    [[nodiscard]] const Day* dayAt(const QModelIndex& index) const;
    [[nodiscard]] const VSession* sessionAt(const QModelIndex& index) const;
    [[nodiscard]] QString textOf(const QModelIndex& index) const;
    [[nodiscard]] int countOf(const QModelIndex& index) const;

    const Calendar& calendar_;
    std::vector<Day> days_;
};

/// The application's name as it is shown.
[[nodiscard]] QString applicationOf(const VSession& session);

}  // namespace quillet
