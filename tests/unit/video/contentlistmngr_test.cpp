#include "video/contentlistmngr.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "core/mediatype.h"
#include "tests/support/tempdir.h"
#include "tests/support/waitfor.h"

namespace tonara {
namespace {

namespace fs = std::filesystem;
using test::CTempDir;

bool AttendreCharge(const CContentListMngr& liste) {
  return test::WaitFor([&] { return liste.IsCharge(); });
}

void Charger(CContentListMngr& liste, const std::string& dossier, bool bSousRep, const std::vector<int>& types) {
  liste.SetDossier(dossier, bSousRep, types);
  ASSERT_TRUE(liste.Charger());
  ASSERT_TRUE(AttendreCharge(liste));
}

std::vector<std::string> Fichiers(CContentListMngr& liste) {
  std::vector<std::string> chemins;
  std::string chemin;
  for (int i = 0; liste.GetFichier(i, &chemin); ++i) chemins.push_back(chemin);
  return chemins;
}

std::set<std::string> Noms(CContentListMngr& liste) {
  std::set<std::string> noms;
  for (const std::string& chemin : Fichiers(liste)) noms.insert(fs::path(chemin).filename().string());
  return noms;
}

// The order of files told in the plainest words: counts, and a walk from the draw on.
class CReference {
 public:
  void Add() { m_vLectures.push_back(0); }
  void Vider() { *this = {}; }
  uint32_t Draw(uint32_t nDepart) {
    const auto n = static_cast<uint32_t>(m_vLectures.size());
    uint32_t i = nDepart;
    do {
      if (m_vLectures[i] < m_nMax) break;
      i = (i + 1) % n;
    } while (i != nDepart);
    return i;
  }
  void Mark(uint32_t i) { m_nMax = std::max(m_nMax, ++m_vLectures[i]); }

 private:
  std::vector<uint32_t> m_vLectures;
  uint32_t m_nMax = 0;
};

TEST(ContentList, DrawsLikeThePlainWalkWhileTheListGrowsAndIsEmptied) {
  for (uint32_t graine = 1; graine <= 60; ++graine) {
    std::mt19937 gen(graine);
    CContentList liste;
    CReference reference;
    const uint32_t nTaille = 1 + gen() % 200;  // of one word of bits, of several, and across their edges
    for (int op = 0; op < 3000; ++op) {
      const uint32_t quoi = gen() % 1000;
      if (quoi == 0) {
        liste = {};
        reference.Vider();
      } else if (liste.Count() == 0 || (quoi < 100 && liste.Count() < nTaille)) {
        liste.Add(std::to_string(liste.Count()));
        reference.Add();
      } else {
        uint32_t i = gen() % liste.Count();
        if (quoi >= 120) {  // else as a sequential user of the same list takes one
          ASSERT_EQ(liste.NextUnplayed(i), reference.Draw(i)) << "seed " << graine << ", operation " << op;
          i = reference.Draw(i);
        }
        liste.MarkPlayed(i);
        reference.Mark(i);
      }
    }
  }
}

TEST(ContentListMngr, BothOrdersStartAtTheSecondCallAndGiveAll) {
  const CTempDir dir;
  for (const char* nom : {"a.wav", "b.MP3", "c.mp2"}) dir.Write(nom, "");
  CContentListMngr liste;
  liste.SetDossier(dir.Dir(), false, std::vector<int>{kMediaAudio});
  EXPECT_FALSE(liste.IsCharge());
  std::string chemin = "intact";
  EXPECT_FALSE(liste.GetSuivant(&chemin, false));
  EXPECT_EQ(chemin, "intact");
  ASSERT_TRUE(AttendreCharge(liste));
  const std::vector<std::string> fichiers = Fichiers(liste);
  ASSERT_EQ(fichiers.size(), 3U);
  for (size_t n = 0; n < 6; ++n) {
    ASSERT_TRUE(liste.GetSuivant(&chemin, false));
    EXPECT_EQ(chemin, fichiers[n % 3]);
  }
  std::map<std::string, int> nFois;
  for (int n = 0; n < 300; ++n) {
    ASSERT_TRUE(liste.GetSuivant(&chemin, true));
    ++nFois[chemin];
  }
  for (const std::string& fichier : fichiers) EXPECT_NEAR(nFois[fichier], 100, 1) << "drawn as often as the others";
  EXPECT_TRUE(liste.Vider());
  EXPECT_TRUE(liste.IsCharge()) << "emptying leaves the state";
  EXPECT_FALSE(liste.GetSuivant(&chemin, false));
  ASSERT_TRUE(AttendreCharge(liste));
  ASSERT_TRUE(liste.GetSuivant(&chemin, false));
  EXPECT_EQ(chemin, fichiers[0]) << "from the first again";
}

TEST(ContentListMngr, KindsAndSubFolders) {
  const CTempDir dir;
  for (const char* nom : {"a.JPG", "b.wmv", "c.mp3", "d.txt", "sansextension", ".cache.png", "sub/e.png", "sub/f.Mp4",
                          "sub/deep/g.bmp", ".hidden/h.png", "sub/..odd/i.png"}) {
    dir.Write(nom, "");
  }
  fs::create_directories(dir / "dossier.png");  // a folder, whatever its name
  const std::string latin1 = "\xe9t\xe9.png";   // a name is bytes
  dir.Write(latin1, "");
  struct Cas {
    bool bSousRep;
    std::vector<int> types;
    std::set<std::string> attendu;
  };
  const Cas cas[] = {
      {false, {3, 2, 1}, {"a.JPG", "b.wmv", "c.mp3", ".cache.png", latin1}},
      {true, {3, 2}, {"a.JPG", "b.wmv", ".cache.png", latin1, "e.png", "f.Mp4", "g.bmp"}},
  };
  for (const Cas& c : cas) {
    CContentListMngr liste;
    Charger(liste, dir.Dir(), c.bSousRep, c.types);
    EXPECT_EQ(Noms(liste), c.attendu);
    for (const std::string& chemin : Fichiers(liste)) EXPECT_TRUE(fs::exists(chemin)) << chemin;
  }
}

TEST(ContentListMngr, LinksAreFollowedAndCyclesEnd) {
  const CTempDir dir;
  dir.Write("ici/a.png", "");
  dir.Write("ailleurs/b.png", "");
  dir.Write("ailleurs/c.png", "");
  fs::create_directory_symlink("../ailleurs", dir / "ici/lien");
  fs::create_directory_symlink("..", dir / "ici/boucle");
  fs::create_directory_symlink(".", dir / "ailleurs/moi");
  fs::create_symlink("../ailleurs/c.png", dir / "ici/d.png");
  fs::create_symlink("nulle-part.png", dir / "ici/casse.png");
  ASSERT_EQ(mkfifo((dir / "ici/tube.png").c_str(), 0600), 0);  // opening it would block for ever
  CContentListMngr liste;
  Charger(liste, dir / "ici", true, {kMediaImage});
  std::vector<std::string> noms;
  for (const std::string& chemin : Fichiers(liste)) noms.push_back(fs::path(chemin).filename().string());
  std::sort(noms.begin(), noms.end());
  EXPECT_EQ(noms, (std::vector<std::string>{"a.png", "b.png", "c.png", "d.png"}));
}

TEST(ContentListMngr, ADeepTreeEndsInsteadOfUsingUpTheStack) {
  const CTempDir dir;
  std::string chemin = dir.Dir();
  for (int i = 0; i < 80; ++i) {
    chemin += "d/";
    fs::create_directory(chemin);
    std::ofstream(chemin + "f.png") << "";
  }
  CContentListMngr liste;
  Charger(liste, dir.Dir(), true, {kMediaImage});
  EXPECT_EQ(liste.GetNombre(), 64);
}

TEST(ContentListMngr, AFolderThatComesBackIsFoundByTheNextRequests) {
  const CTempDir dir;
  CContentListMngr liste;
  liste.SetDossier(dir / "PLUS\\Tard", true, std::vector<int>{kMediaAudio});
  std::string chemin;
  for (int i = 0; i < 200; ++i) EXPECT_FALSE(liste.GetSuivant(&chemin, i % 2 == 0));
  ASSERT_TRUE(AttendreCharge(liste));
  dir.Write("Plus/tard/a.wav", "");
  EXPECT_FALSE(liste.GetSuivant(&chemin, true));
  ASSERT_TRUE(AttendreCharge(liste));
  ASSERT_TRUE(liste.GetSuivant(&chemin, true));
  EXPECT_EQ(chemin, dir / "Plus/tard/a.wav") << "whatever the spelling";
}

TEST(ContentListMngr, ManyThreadsUseAListThatIsScannedAndEmptied) {
  const CTempDir dir;
  constexpr int kFichiers = 3000;
  for (int i = 0; i < kFichiers; ++i) dir.Write(std::to_string(i) + ".png", "");
  CContentListMngr liste;
  liste.SetDossier(dir.Dir(), true, std::vector<int>{kMediaImage});
  const auto limite = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  std::vector<std::thread> threads;
  threads.reserve(3);
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      std::string chemin;
      int nDonnes = 0;
      for (int i = 0; nDonnes < 3000; ++i) {
        if (i % 1000 == 0) {
          liste.Charger();
          ASSERT_LT(std::chrono::steady_clock::now(), limite) << nDonnes << " given to " << t;
        }
        if (!liste.GetSuivant(&chemin, t != 0)) {
          std::this_thread::yield();
          continue;
        }
        EXPECT_EQ(chemin.compare(0, dir.Dir().size(), dir.Dir()), 0);
        if (++nDonnes % 500 == 0) liste.Vider();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_TRUE(AttendreCharge(liste));
  liste.Vider();
  ASSERT_TRUE(liste.Charger());
  ASSERT_TRUE(AttendreCharge(liste));
  EXPECT_EQ(liste.GetNombre(), kFichiers);
  liste.Charger();  // and the destructor meets a running scan
}

TEST(Aleatoire, IsEvenReachesBothEndsAndIsTheThreadsOwn) {
  EXPECT_EQ(Aleatoire(-5), 0);
  SemerAleatoire(1);
  std::map<int, int> nTirages;
  for (int i = 0; i < 20000; ++i) ++nTirages[Aleatoire(9)];
  EXPECT_EQ(nTirages.begin()->first, 0);
  EXPECT_EQ(nTirages.rbegin()->first, 9);
  for (const auto& [n, nFois] : nTirages) EXPECT_NEAR(nFois, 2000, 6 * std::sqrt(2000.0)) << n;
  // Beyond 15 bits every start must be possible, the odd ones too.
  std::set<int> vus;
  for (int i = 0; i < 20000; ++i) vus.insert(Aleatoire(99999));
  EXPECT_GT(*vus.rbegin(), 99000);
  EXPECT_TRUE(std::ranges::any_of(vus, [](int n) { return n % 2 == 1; }));

  SemerAleatoire(42);
  const int premier = Aleatoire(30000);
  std::thread([] {
    SemerAleatoire(99);
    Aleatoire(10);
  }).join();
  const int second = Aleatoire(30000);
  SemerAleatoire(42);
  EXPECT_EQ(Aleatoire(30000), premier);
  EXPECT_EQ(Aleatoire(30000), second) << "another thread's seed changed this one's draws";
}

}  // namespace
}  // namespace tonara
