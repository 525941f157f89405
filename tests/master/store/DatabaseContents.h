// What a database holds, as text that can be compared.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "store/Sqlite.h"

namespace brenic::master {

inline std::vector<std::string> Lines(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

/// Every table and index, with the rows.
inline std::string Contents(const std::string& file) {
  Database database(file, Database::Mode::k_ReadOnly);
  std::string out = database.Scalar("PRAGMA integrity_check") + database.Scalar("PRAGMA user_version") + "\n";
  std::vector<std::string> tables;
  for (Statement table(database.Handle(), "SELECT name, sql FROM sqlite_master ORDER BY name");
       table.Step();) {
    out += table.Text(0) + ": " + table.Text(1) + "\n";
    if (table.Text(1).rfind("CREATE TABLE", 0) == 0)
      tables.push_back(table.Text(0));
  }
  for (const std::string& name : tables) {
    std::string columns;
    Statement column(database.Handle(), "SELECT name FROM pragma_table_info(?)");
    for (column.Bind(name); column.Step();)
      columns += (columns.empty() ? "quote(\"" : " || ' ' || quote(\"") + column.Text(0) + "\")";
    Statement row(database.Handle(), "SELECT " + columns + " AS line FROM \"" + name + "\" ORDER BY line");
    for (out += name + "\n"; row.Step();)
      out += row.Text(0) + "\n";
  }
  return out;
}

} // namespace brenic::master
