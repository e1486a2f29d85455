// Provenance records: JSON through QJsonDocument.
#include "rfa/RfaProvenance.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>
#include <cstdio>

#include "numerics/ZrError.h"
#include "rfa/RfaKeyWriter.h"

namespace {

QString Q(const std::string& text) {
  return QString::fromStdString(text);
}

QJsonValue JsonValue(const RfaRecordValue& value) {
  if (const auto* b = std::get_if<bool>(&value)) return *b;
  if (const auto* i = std::get_if<int64_t>(&value)) return static_cast<qint64>(*i);
  if (const auto* d = std::get_if<double>(&value)) {
    if (std::isfinite(*d)) return *d;
    return std::isnan(*d) ? "nan" : (*d > 0 ? "inf" : "-inf");
  }
  return Q(std::get<std::string>(value));
}

QJsonObject JsonObject(const RfaRecordFields& fields) {
  QJsonObject object;
  for (const auto& [key, value] : fields) object.insert(Q(key), JsonValue(value));
  return object;
}

void WriteFields(RfaKeyWriter& keys, const std::string& group, const RfaRecordFields& fields) {
  keys.OpenGroup(group);
  for (const auto& [key, value] : fields) {
    if (const auto* b = std::get_if<bool>(&value)) {
      keys.SetBool(key, *b);
    } else if (const auto* i = std::get_if<int64_t>(&value)) {
      keys.SetDouble(key, static_cast<double>(*i));
    } else if (const auto* d = std::get_if<double>(&value)) {
      keys.SetDouble(key, *d);
    } else {
      keys.SetText(key, std::get<std::string>(value));
    }
  }
}

}  // namespace

std::string RfaUtcTime(int64_t secondsSinceEpoch) {
  return QDateTime::fromSecsSinceEpoch(secondsSinceEpoch, Qt::UTC)
      .toString(Qt::ISODate)
      .toStdString();
}

void RfaWriteProvenanceKeys(RfaKeyWriter& keys, const RfaProvenance& record) {
  keys.OpenGroup("Provenance");
  keys.SetText("Program", record.Program);
  keys.SetText("Version", record.Version);
  keys.SetText("Input", record.Input);
  keys.SetText("InputSHA256", record.InputSha256);
  if (record.Frame >= 0) keys.SetDouble("Frame", static_cast<double>(record.Frame));
  keys.SetText("Time", record.Time);
  WriteFields(keys, "Provenance/Parameters", record.Parameters);
  WriteFields(keys, "Provenance/Options", record.Options);
  WriteFields(keys, "Provenance/Results", record.Results);
  WriteFields(keys, "Provenance/Outputs", record.Outputs);
}

std::string RfaProvenanceJson(const RfaProvenance& record, bool indented, bool ascii,
                              const std::vector<std::pair<std::string, RfaRecordFields>>& extra) {
  QJsonObject input{{"file", Q(record.Input)}, {"sha256", Q(record.InputSha256)}};
  if (record.Frame >= 0) input.insert("frame", static_cast<qint64>(record.Frame));
  QJsonObject root{{"program", Q(record.Program)},
                   {"version", Q(record.Version)},
                   {"input", input},
                   {"time", Q(record.Time)},
                   {"parameters", JsonObject(record.Parameters)},
                   {"options", JsonObject(record.Options)},
                   {"results", JsonObject(record.Results)},
                   {"outputs", JsonObject(record.Outputs)}};
  for (const auto& [name, fields] : extra) root.insert(Q(name), JsonObject(fields));
  const QString text = QString::fromUtf8(
      QJsonDocument(root).toJson(indented ? QJsonDocument::Indented : QJsonDocument::Compact));
  if (!ascii) return text.toStdString();
  // Outside strings JSON is ASCII already, so every other character sits inside a string,
  // where \uXXXX (UTF-16 units, surrogate pairs as two) stands for it.
  std::string out;
  for (const QChar c : text) {
    if (c.unicode() < 0x80) {
      out += static_cast<char>(c.unicode());
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c.unicode()));
      out += escape;
    }
  }
  return out;
}
