// CKtI18NFM is a message that a client can show in its own language: a message definition (catalog,
// id, default text with the placeholders %1, %2 and so on) and the values of its placeholders, the
// insertions, in a property set of its own.
//
// Objects carry such messages as properties of TYPE_I18NFORMATSTRING. After the pointer to its
// virtual table a message holds exactly the framework's format-string record.
//
// Threads:   a value; one thread at a time.
// Ownership: a message owns its text and its insertion set. A copy duplicates the set; a move takes
//            it along and leaves the source without one (Insertions() is null), which is good for
//            nothing but being assigned to, copied from (the copy gets a new, empty set), given a
//            set by Create(), or destroyed.
// Failure:   a failing framework call is traced at level 6 and thrown as its 32-bit status, by the
//            destructor too: it is noexcept(false). It throws only when no other exception is being
//            thrown or handled; the line is written in any case.
//            Standard containers are not made for destructors that throw. Reserve the room of a
//            list before it is filled, and hand it to kt::DestroyMessages() before it goes: then a
//            failing destroy is an exception, and not the end of the program.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ktbus3/ktbus3.h"

class CKtI18NFM {
 public:
  // Catalog all zero, id 0, empty text, a new empty insertion set.
  CKtI18NFM();

  // A new empty insertion set. A null name is the empty text.
  explicit CKtI18NFM(const KtI18NDef& definition);

  // A deep copy of a record that the framework handed out: its insertion set is duplicated, or a
  // new empty one is made when it has none. The record keeps its own.
  explicit CKtI18NFM(const KtI18NFormatString& record);

  CKtI18NFM(const CKtI18NFM& other);
  CKtI18NFM(CKtI18NFM&& other) noexcept;

  // The old insertion set is destroyed last: when that fails, the new value is in place and the
  // status is thrown. An assignment by move exchanges the two messages, so that the old set goes
  // with its source.
  CKtI18NFM& operator=(const CKtI18NFM& other);
  CKtI18NFM& operator=(CKtI18NFM&& other) noexcept;

  // NOLINTNEXTLINE(bugprone-exception-escape): required, a failing destroy reaches whoever drops it
  virtual ~CKtI18NFM() noexcept(false);

  // Gives the message a new, empty insertion set in place of what it has.
  void Create();

  // Destroys the insertion set as the destructor does, but always throws on failure; the handle is
  // null afterwards in every case. Nothing happens without a set.
  void DestroyInsertions();

  // The record that is written as a property value; lent, valid until the message changes.
  [[nodiscard]] const KtI18NFormatString& Record() const noexcept { return record_; }
  [[nodiscard]] const KtI18NDef& Definition() const noexcept { return record_.message; }
  [[nodiscard]] const std::string& Name() const noexcept { return name_; }

  // Lent: insertions are added to it with I18nAddInsertionString and I18nAddInsertionWideString,
  // numbered from 1. Null only after a move or DestroyInsertions().
  [[nodiscard]] KtPropset Insertions() const noexcept { return record_.insertions; }

  // The message as plain text: the default text with the insertions put in, one after the other in
  // the order of the set, each at the first occurrence of its placeholder. An insertion's number is
  // what follows the first character of its property's name. Texts give themselves, a TYPE_I18N
  // value its name, anything else and the empty text nothing, which leaves the placeholder. Where
  // an insertion cannot be read the result is what has been made so far: nothing of it is thrown.
  [[nodiscard]] std::string Format() const;

  // "messageId=7, name="text", catalog={...}", for traces.
  [[nodiscard]] std::string ToString() const;

 private:
  struct Bare {};
  CKtI18NFM(const KtI18NDef& definition, Bare);

  void CopyInsertions(KtPropset source);
  void Aim() noexcept { record_.message.name = name_.c_str(); }
  void Swap(CKtI18NFM& other) noexcept;

  KtI18NFormatString record_{};
  std::string name_;
};

static_assert(sizeof(CKtI18NFM) == sizeof(void*) + sizeof(KtI18NFormatString) + sizeof(std::string),
              "nothing stands between the virtual table's pointer, the record and the name");

namespace kt {

// Destroys the insertion set of every message and empties the list. The first failing status is
// thrown when all of them are gone; each failure is traced.
void DestroyMessages(std::vector<CKtI18NFM>& messages);

}  // namespace kt
