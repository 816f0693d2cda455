// The deck reader: keyword matching, the counting pass, the storing pass and
// the field access that stops cleanly on input it cannot read.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/model.hpp"

namespace ossa::deck {

using model::Model;

// Keywords of both passes. Three compare three characters, six compare four,
// the rest five; all are matched case-sensitively from column 1.
enum Key {
  K_NONE, K_END, K_VEL, K_GAP, K_NODE, K_RUBB, K_NGLD, K_DISP, K_PLNK, K_BODY,
  K_CNTND, K_CNTEL, K_SOLID, K_SHELL, K_TRUSS, K_CNTRL, K_CNTR2, K_CNTR3, K_PRPLT, K_PRPL2,
  K_PROPT, K_TRSTB, K_KUKAN, K_NLOAD, K_TBLLD, K_FORCE, K_DIRFC, K_PRESS, K_NPLNK, K_SPLNK,
  K_NBODY, K_CSURF, K_CBODY, K_COUNT
};
Key KEYMATCH(std::string_view image);
const char* KEYNAME(Key k);

// The sizes found by the counting pass.
struct DeckCounts {
  std::int32_t NNODE = 0, MAXNOD = 0, NSOLID = 0, NSHELL = 0, NGAP = 0, NRUBB = 0, NTRUSS = 0,
               MAXELEM = 0, NTRSTB = 0, MAXPTS = 0, NSTEP = 0, NLOAD = 0, MAXLDT = 0,
               NFORCE = 0, NDIRFC = 0, NPRESS = 0, NDISP = 0, NPLNK = 0, NVEL = 0,
               NSPLNK = 0, NBODY = 0, NCSURF = 0;
  std::int32_t CARDS[K_COUNT] = {};  // cards seen, by keyword
};

// The card in hand during a pass: its image (padded with blanks to the
// pass's width), line number and keyword.
struct Card {
  std::string img;
  long line = 0;
  Key key = K_NONE;
};

// State of the storing pass: the card, and how many cards of each kind have
// been stored so far (the storing routines use these as running numbers).
// The line of each stored card is kept so that the translation after the
// last card can name the card of a bad number.
struct Reader {
  Model& m;
  Card card;
  std::int32_t n[K_COUNT] = {};  // cards stored, by keyword
  std::int32_t NELEMS = 0;       // directory records made so far
  std::int32_t NGAPCARD = 0;     // gap elements made so far (three a card)
  std::int32_t LDGROUP = 0;      // current load group, 0 before the first "NLOAD"
  std::int32_t NTBL = 0;         // "TBLLD" rows of the current group
  std::int32_t NSTEPS = 0;       // stations of T taken so far
  // "KUKAN" groups (end time, count) in card order: the table is built after
  // the last card, so that a deck that stops costs nothing for its length.
  std::vector<std::pair<double, std::int32_t>> TGROUPS;
  base::Arr1<std::int32_t> LINE[K_COUNT];  // line of the i-th card of a kind
  base::Arr1<std::int32_t> ELEMLINE;       // line of the card of each ELEM record
  explicit Reader(Model& mm) : m(mm) {}
};

// Reads the next line of the deck into `c` as an image of `width` columns.
// Returns false at end of file.
bool READCARD(Model& m, Card& c, int width);

// Fields of the card in hand. A field that is not a number of its kind stops
// the job with a message naming the file, line, columns and card.
long IFIELD(const Model& m, const Card& c, int c1, int c2);
double RFIELD(const Model& m, const Card& c, int c1, int c2);
// Stops the job on a deck fault that no numbered check covers.
[[noreturn]] void DECKFAULT(const Model& m, const Card& c, const std::string& what, int c1 = 0,
                            int c2 = 0);

// Stops with input error -2 on a card whose numbers name nothing: the
// message names the deck's line.
[[noreturn]] void INPUTFAIL(Model& m, long line, const std::string& what);
// The same for a field of the card in hand, named with its columns and card.
[[noreturn]] void FIELDFAIL(Model& m, const Card& c, int c1, int c2, const std::string& what);
// An integer field that must lie in lo..hi: "`what` v IS OUTSIDE lo..hi."
std::int32_t IRANGE(Model& m, const Card& c, int c1, int c2, long lo, long hi, const std::string& what);

void DECKCNT(Model& m, base::Unit& inp, DeckCounts& n);
void DECKIN(Model& m);
// Allocation of the deck arrays at their exact sizes (thirty-one status words).
void DECKALLOC(Model& m, const DeckCounts& n);

// Stores the card in hand; called by the storing pass for every keyword
// but "END" and the count cards.
void CARDSTORE(Reader& r);

// Card routines by family. Each stores the fields of the card in hand.
void MODELCARD(Reader& r);                 // "NODE", "SOLID", "SHELL", "RUBB", "TRUSS", "GAP"
void CNTRLRD(Model& m, const Card& c);     // "CNTRL": defaults, fixed values, input checks
void CNTR2RD(Model& m, const Card& c);
void CNTR3RD(Model& m, const Card& c);     // stop limits, device, threads
void PRPLTRD(Model& m, const Card& c);     // "PRPLT" and "PRPL2"
void PROPTRD(Reader& r);
void TRSTBRD(Reader& r);                   // reads the table's rows as well
void KUKANRD(Reader& r);
void TIMETABLE(Model& m, const Reader& r);  // T(1..NSTEP) from the "KUKAN" groups
void LOADCARD(Reader& r);                  // "NLOAD", "TBLLD" and the four data cards
void GROUPCHK(const Reader& r);            // the load group just closed is whole
void LINKCARD(Reader& r);                  // "PLNK", "SPLNK", "VEL"
void CONTCARD(Reader& r);                  // "BODY", "CSURF", "CBODY"

// Translation, defaults and the echo, after the last card. DECKFIN stops
// with -2 on a number that names nothing, naming the card's line.
void DECKFIN(Model& m, const Reader& r);
void DECKECHO(Model& m);
// Stops with -2 a static job whose Riks steps have nothing to work with: a
// first Riks step below 0, an arc length not above 0, no "FORCE" load; gives
// a Riks job the multifrontal solver, which its steps need. A dynamic job
// takes no Riks steps: the log says so.
void RIKSCHK(Model& m);
// Stops with -2, naming it, a job that asks for what this build lacks.
void NOTYET(Model& m);

}  // namespace ossa::deck
