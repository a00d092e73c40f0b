#include "ui/look/francais.h"

#include <QCoreApplication>
#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <string_view>

namespace tonara {
namespace {

struct Traduction {
  std::string_view szTexte;
  const char* szFrancais;
};

constexpr Traduction kTraductions[] = {
    // Buttons
    {"OK", "OK"},
    {"&OK", "&OK"},
    {"Cancel", "Annuler"},
    {"&Cancel", "&Annuler"},
    {"Open", "Ouvrir"},
    {"&Open", "&Ouvrir"},
    {"&Choose", "C&hoisir"},
    {"Close", "Fermer"},
    {"&Close", "&Fermer"},
    {"&Yes", "&Oui"},
    {"&No", "&Non"},
    {"Save", "Enregistrer"},
    {"&Save", "&Enregistrer"},
    {"Show Details...", "Détails..."},
    {"Hide Details...", "Masquer les détails..."},
    // File chooser
    {"Look in:", "Dans :"},
    {"Back", "Précédent"},
    {"Go back", "Revenir en arrière"},
    {"Forward", "Suivant"},
    {"Go forward", "Aller en avant"},
    {"Parent Directory", "Répertoire parent"},
    {"Go to the parent directory", "Aller au répertoire parent"},
    {"Create New Folder", "Nouveau répertoire"},
    {"Create a New Folder", "Créer un nouveau répertoire"},
    {"List View", "Liste"},
    {"Change to list view mode", "Afficher en liste"},
    {"Detail View", "Détails"},
    {"Change to detail view mode", "Afficher les détails"},
    {"Sidebar", "Raccourcis"},
    {"List of places and bookmarks", "Lieux et raccourcis"},
    {"Files", "Fichiers"},
    {"File &name:", "&Nom du fichier :"},
    {"Directory:", "Répertoire :"},
    {"Files of type:", "Type de fichiers :"},
    {"All files (*)", "Tous les fichiers (*)"},
    {"All Files (*)", "Tous les fichiers (*)"},
    {"Open File", "Ouvrir un fichier"},
    {"Find Directory", "Choisir un répertoire"},
    {"Directories", "Répertoires"},
    {"Save As", "Enregistrer sous"},
    {"&Rename", "&Renommer"},
    {"&Delete", "&Supprimer"},
    {"Delete", "Supprimer"},
    {"Show &hidden files", "Afficher les fichiers &cachés"},
    {"&New Folder", "&Nouveau répertoire"},
    {"New Folder", "Nouveau répertoire"},
    {"Show ", "Afficher "},
    {"Remove", "Retirer"},
    {"Recent Places", "Répertoires récents"},
    {"My Computer", "Ordinateur"},
    {"Computer", "Ordinateur"},
    {"Drive", "Lecteur"},
    {"File", "Fichier"},
    {"%1 File", "Fichier %1"},
    {"File Folder", "Répertoire"},
    {"Folder", "Répertoire"},
    {"Alias", "Raccourci"},
    {"Shortcut", "Raccourci"},
    {"Unknown", "Inconnu"},
    {"Name", "Nom"},
    {"Size", "Taille"},
    {"Type", "Type"},
    {"Kind", "Type"},
    {"Date Modified", "Modifié le"},
    {"%1 bytes", "%1 octets"},
    {"%1 byte(s)", "%1 octet(s)"},
    {"%1\nDirectory not found.\nPlease verify the correct directory name was given.",
     "%1\nCe répertoire n'existe pas.\nVérifiez son nom."},
    {"%1\nFile not found.\nPlease verify the correct file name was given.",
     "%1\nCe fichier n'existe pas.\nVérifiez son nom."},
    // Colour chooser
    {"Hu&e:", "&Teinte :"},
    {"&Sat:", "&Saturation :"},
    {"&Val:", "&Valeur :"},
    {"&Red:", "&Rouge :"},
    {"&Green:", "&Vert :"},
    {"Bl&ue:", "&Bleu :"},
    {"A&lpha channel:", "O&pacité :"},
    {"&HTML:", "&HTML :"},
    {"Cursor at %1, %2\nPress ESC to cancel", "Pointeur en %1, %2\nÉchap pour annuler"},
    {"Select Color", "Choix de la couleur"},
    {"&Basic colors", "Couleurs de &base"},
    {"&Custom colors", "Couleurs &personnalisées"},
    {"&Add to Custom Colors", "A&jouter aux couleurs personnalisées"},
    {"&Pick Screen Color", "Prendre une couleur à l'é&cran"},
    // Menus of fields
    {"&Undo", "&Annuler"},
    {"&Redo", "&Rétablir"},
    {"Cu&t", "Co&uper"},
    {"&Copy", "&Copier"},
    {"&Paste", "C&oller"},
    {"Select All", "Tout sélectionner"},
    {"&Select All", "&Tout sélectionner"},
    {"&Step up", "A&ugmenter"},
    {"Step &down", "&Diminuer"},
};

}  // namespace

QString CFrancais::translate(const char* /*szContexte*/, const char* szTexte, const char* /*szPrecision*/,
                             int /*n*/) const {
  const std::string_view szCherche = szTexte != nullptr ? szTexte : "";
  const auto* pTrouvee = std::find_if(std::begin(kTraductions), std::end(kTraductions),
                                      [&](const Traduction& t) { return t.szTexte == szCherche; });
  return pTrouvee == std::end(kTraductions) ? QString() : QString::fromUtf8(pTrouvee->szFrancais);
}

void InstalleFrancais(QCoreApplication& app) {
  auto* pFrancais = new CFrancais(&app);
  QCoreApplication::installTranslator(pFrancais);
}

}  // namespace tonara
