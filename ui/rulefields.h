// The rule editor's controls: they show one rule, and each change goes into it at once.
#pragma once

#include <QWidget>
#include <array>

#include "ui/ruletext.h"

class QCheckBox;
class QComboBox;
class QDateEdit;
class QHBoxLayout;
class QLineEdit;
class QStackedWidget;

namespace tonara {

class CChampNombre;
class CGroupe;

class CRuleFields final : public QWidget {
  Q_OBJECT

 public:
  explicit CRuleFields(QWidget* pParent);

  /// Shows a rule; changes nothing of it.
  void Montre(const Rule& rule);
  /// There is no rule: all controls are disabled.
  void MontreAucune();
  /// Takes over a date that is still being typed.
  void TermineSaisie();

 signals:
  /// The operator has changed the rule; this is how it stands now.
  void Modifiee(const tonara::Rule& rule);

 private:
  /// Fields hour and minute of one time of day.
  struct Temps {
    CChampNombre* pHeure;
    CChampNombre* pMinute;
  };

  CGroupe* CreeRegle();
  CGroupe* CreeValidite();
  QWidget* CreePeriode();
  QWidget* CreeFixe();
  /// Adds "hour h minute mns" to a row; the fields change one of the rule's times.
  Temps AjouteTemps(QHBoxLayout* pLigne, uint32_t Rule::*pTemps, const QString& szNom);
  QDateEdit* CreeDate(const QString& szNom, void (*fnChange)(Rule*, uint32_t));
  void Remplit();
  void MontreTemps();
  void MontreDates();
  /// After a change by the operator.
  void Annonce();

  Rule m_rule;
  bool m_bRemplissage = false;  ///< controls change by program

  QComboBox* m_pMode = nullptr;
  QStackedWidget* m_pTemps = nullptr;  ///< pages: periodic, fixed, none
  CChampNombre* m_pFrequence = nullptr;
  QComboBox* m_pUnite = nullptr;
  Temps m_debut{}, m_fin{}, m_fixe{};
  std::array<QCheckBox*, kBitsJours.size()> m_jours{};
  QComboBox* m_pSelection = nullptr;
  QComboBox* m_pValidite = nullptr;
  QWidget* m_pDates = nullptr;
  QDateEdit* m_pDu = nullptr;
  QDateEdit* m_pAu = nullptr;
  QCheckBox* m_pActivee = nullptr;
};

}  // namespace tonara
