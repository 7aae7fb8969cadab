#pragma once
// Recipients of a personal circular from a CSV file, as a mail-merge
// database: a header row names the fields, each further row is one
// recipient. UTF-8 (with or without BOM) or Windows-1252; ';' or ','
// between fields, whichever the header uses; fields in double quotes may
// hold separators, quotes ("") and line breaks.
//
// Known columns (German or English, any case): Anrede/Salutation,
// Titel/Title, Vorname/FirstName, Nachname/LastName, Name, Firma/Company,
// EMail/E-Mail, Anhang/Attachment (one or more files, separated by '|';
// relative to the file's folder). Every other column becomes the field
// <Empfaenger.Spaltenname>.
//
// Attachments come only from the file's folder or from released folders
// (TAttachmentFolders); a refused one keeps its recipient out of the run
// (TRecipientPerson::refusal names the row and the file), the others stay.

#include "compose/RecipientFields.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace kalvex {

// Raises EKalvex naming the file and line for a missing EMail column, a
// row without address and an attachment that does not exist.
// releasedFolders: folders outside the file's own that attachments may
// come from.
QList<TRecipientPerson> ReadRecipientCsv(const QString& fileName, const QStringList& releasedFolders = {});

// The parts, for reading from memory: text in the detected encoding,
// then the rows split into fields.
QString DecodeCsvBytes(const QByteArray& bytes);
QList<QStringList> SplitCsvRows(const QString& text);
// folder: where relative attachment paths start.
QList<TRecipientPerson> RecipientsFromCsvRows(const QList<QStringList>& rows, const QString& folder,
                                              const QStringList& releasedFolders = {});

}  // namespace kalvex
