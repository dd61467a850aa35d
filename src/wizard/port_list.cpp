#include "wizard/port_list.h"

#include <QtWidgets/QListWidget>

#include <string>

namespace mi {
namespace {

constexpr int16_t kUntestedHighest = 16;

void SetChecked(QListWidget* list, int index, bool checked) {
  QListWidgetItem* entry = list->item(index);
  // An index past the end fails; the statement is passed over.
  if (entry != nullptr) entry->setCheckState(checked ? Qt::Checked : Qt::Unchecked);
}

}  // namespace

bool FillPortList(QListWidget* list, std::string_view excluded, int16_t highest, int16_t remembered,
                  const std::function<bool(int16_t)>& available) {
  list->clear();
  bool found = false;
  const bool test = highest > 0;
  const int16_t last = test ? highest : kUntestedHighest;
  for (int16_t n = 1; n <= last; ++n) {
    // A plain search: with "12" excluded, ports 1, 2 and 12 are all left out.
    if (excluded.find(std::to_string(n)) != std::string_view::npos) continue;
    if (test && !available(n)) continue;
    auto* entry = new QListWidgetItem(QStringLiteral("COM:%1").arg(n), list);
    entry->setData(kPortRole, n);
    entry->setFlags(entry->flags() | Qt::ItemIsUserCheckable);
    entry->setCheckState(Qt::Unchecked);
    if (n == remembered) {
      entry->setCheckState(Qt::Checked);
      found = true;
    }
  }
  if (!found && list->count() > 0) {
    found = true;
    list->setCurrentRow(0);
    SetChecked(list, 0, true);
  }
  if (found) {
    for (int i = 0; i < list->count(); ++i) {
      if (list->item(i)->checkState() == Qt::Checked) list->setCurrentRow(i);
    }
  }
  return found;
}

void KeepSingleCheck(QListWidget* list, int index, bool& guard) {
  if (guard) return;
  guard = true;
  // Up to and including the count: one past the last entry. That statement
  // fails and is passed over, as every failing statement of the wizard.
  for (int i = 0; i <= list->count(); ++i) SetChecked(list, i, false);
  SetChecked(list, index, true);
  guard = false;
}

bool CheckedPort(const QListWidget* list, int16_t& port) {
  for (int i = 0; i < list->count(); ++i) {
    if (list->item(i)->checkState() == Qt::Checked) {
      port = static_cast<int16_t>(list->item(i)->data(kPortRole).toInt());
      return true;
    }
  }
  return false;
}

}  // namespace mi
