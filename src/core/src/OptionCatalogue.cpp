// The catalogue of options and commands of the suite, as data. The parser
// builds its option rules, command rows and exclusive groups from these tables.
#include "OptionParser.h"

// Every option the suite knows, with its value rules. Bounds of 0 and 0 mean
// that any value is accepted.
const OptionCatalogueRow OPTION_CATALOGUE[] = {
    // name, hasValue, isInteger, validForMapping, validForAssembly, minValue, maxValue
    {"a", true, true, true, true, 0, 0},
    {"ads", true, true, true, true, 0, 0},
    {"ais", true, true, true, true, 0, 0},
    {"batchsize", true, true, true, true, 0, 0},
    {"cpu", true, true, true, true, 0, 0},
    {"e", true, true, true, true, 0, 0},
    {"l", true, true, true, true, 0, 0},
    {"maxsvf", true, true, true, true, 0, 0},
    {"mi", true, true, true, true, 0, 0},
    {"minlen", true, true, true, true, 20, 100},
    {"minsvf", true, true, true, true, 0, 0},
    {"numsamples", true, true, true, true, 0, 10},
    {"sc", true, true, true, true, 0, 0},
    {"siom", true, true, true, true, 1, 1000},
    {"sl", true, true, true, true, 0, 0},
    {"ss", true, true, true, true, 0, 0},
    {"numn", true, true, true, true, 0, 0},
    {"ulimit", true, true, true, true, 0, 0},
    {"d", true, true, true, false, 0, 0},
    {"hsl", true, true, true, false, 0, 0},
    {"rst", true, true, true, false, 0, 0},
    {"maxd", true, true, true, false, 0, 0},
    {"icc", true, true, false, true, 0, 0},
    {"icl", true, true, false, true, 0, 0},
    {"ig", true, true, false, true, 0, 0},
    {"it", true, true, false, true, 0, 0},
    {"s", true, true, false, true, 0, 0},
    {"b", true, true, false, true, 0, 0},
    {"custom", true, false, true, true, 0, 0},
    {"datapath", true, false, true, true, 0, 0},
    {"fe", true, false, true, true, 0, 0},
    {"fi", true, false, true, true, 0, 0},
    {"lib", true, false, true, true, 0, 0},
    {"mcf", true, false, true, true, 0, 0},
    {"ml", true, false, true, true, 0, 0},
    {"mrerun", true, false, true, true, 0, 0},
    {"o", true, false, true, true, 0, 0},
    {"t", true, false, true, true, 0, 0},
    {"tsv", true, false, true, true, 0, 0},
    {"v", true, false, true, true, 0, 0},
    {"vs", true, false, true, true, 0, 0},
    {"vt", true, false, true, true, 0, 0},
    {"optcfg", true, false, true, true, 0, 0},
    {"ovc", true, false, true, true, 0, 0},
    {"pickb", true, false, true, true, 0, 0},
    {"pickr", true, false, true, true, 0, 0},
    {"rcf", true, false, true, true, 0, 0},
    {"scfcmd", true, false, true, true, 0, 0},
    {"accno", true, false, true, false, 0, 0},
    {"annot", true, false, true, false, 0, 0},
    {"reg", true, false, true, false, 0, 0},
    {"snp", true, false, true, false, 0, 0},
    {"sveg", true, false, true, false, 0, 0},
    {"gencode", true, false, true, false, 0, 0},
    {"hap", true, false, true, false, 0, 0},
    {"str", true, false, true, false, 0, 0},
    {"pool", true, false, false, true, 0, 0},
    {"edit", true, false, false, true, 0, 0},
    {"npseq", true, false, false, true, 0, 0},
    {"ace", false, false, true, true, 0, 0},
    {"acedir", false, false, true, true, 0, 0},
    {"ad", false, false, true, true, 0, 0},
    {"ar", false, false, true, true, 0, 0},
    {"at", false, false, true, true, 0, 0},
    {"bam", false, false, true, true, 0, 0},
    {"bamsub", false, false, true, true, 0, 0},
    {"cdna", false, false, true, true, 0, 0},
    {"clear", false, false, true, true, 0, 0},
    {"consed", false, false, true, true, 0, 0},
    {"consed16", false, false, true, true, 0, 0},
    {"force", false, false, true, true, 0, 0},
    {"gui", false, false, true, true, 0, 0},
    {"info", false, false, true, true, 0, 0},
    {"infoall", false, false, true, true, 0, 0},
    {"m", false, false, true, true, 0, 0},
    {"multi", false, false, true, true, 0, 0},
    {"multisub", false, false, true, true, 0, 0},
    {"no", false, false, true, true, 0, 0},
    {"noace", false, false, true, true, 0, 0},
    {"nobam", false, false, true, true, 0, 0},
    {"nobig", false, false, true, true, 0, 0},
    {"nofe", false, false, true, true, 0, 0},
    {"nofi", false, false, true, true, 0, 0},
    {"noinfo", false, false, true, true, 0, 0},
    {"nop", false, false, true, true, 0, 0},
    {"nor", false, false, true, true, 0, 0},
    {"nosio", false, false, true, true, 0, 0},
    {"notrim", false, false, true, true, 0, 0},
    {"nov", false, false, true, true, 0, 0},
    {"novs", false, false, true, true, 0, 0},
    {"novt", false, false, true, true, 0, 0},
    {"np", false, false, true, true, 0, 0},
    {"nrm", false, false, true, true, 0, 0},
    {"p", false, false, true, true, 0, 0},
    {"pt", false, false, true, true, 0, 0},
    {"pair", false, false, true, true, 0, 0},
    {"pairt", false, false, true, true, 0, 0},
    {"qo", false, false, true, true, 0, 0},
    {"quiet", false, false, true, true, 0, 0},
    {"r", false, false, true, true, 0, 0},
    {"relink", false, false, true, true, 0, 0},
    {"rescore", false, false, true, true, 0, 0},
    {"sio", false, false, true, true, 0, 0},
    {"siod", false, false, true, true, 0, 0},
    {"srv", false, false, true, true, 0, 0},
    {"sts", false, false, true, true, 0, 0},
    {"trim", false, false, true, true, 0, 0},
    {"ud", false, false, true, true, 0, 0},
    {"verbose", false, false, true, true, 0, 0},
    {"sersvf", false, false, true, true, 0, 0},
    {"nosersvf", false, false, true, true, 0, 0},
    {"phaseb", false, false, true, true, 0, 0},
    {"phasec", false, false, true, true, 0, 0},
    {"alignout", false, false, true, true, 0, 0},
    {"nocutlinker", false, false, true, true, 0, 0},
    {"dotalign", false, false, true, true, 0, 0},
    {"la", false, false, true, true, 0, 0},
    {"mallinfo", false, false, true, true, 0, 0},
    {"timeinfo", false, false, true, true, 0, 0},
    {"noa", false, false, true, true, 0, 0},
    {"noc", false, false, true, true, 0, 0},
    {"noglob", false, false, true, true, 0, 0},
    {"nol", false, false, true, true, 0, 0},
    {"nopw", false, false, true, true, 0, 0},
    {"not", false, false, true, true, 0, 0},
    {"npa", false, false, true, true, 0, 0},
    {"npv", false, false, true, true, 0, 0},
    {"npd", false, false, true, true, 0, 0},
    {"nps", false, false, true, true, 0, 0},
    {"npo", false, false, true, true, 0, 0},
    {"poor", false, false, true, true, 0, 0},
    {"short", false, false, true, true, 0, 0},
    {"sqo", false, false, true, true, 0, 0},
    {"tr", false, false, true, true, 0, 0},
    {"tronly", false, false, true, true, 0, 0},
    {"cref", false, false, true, false, 0, 0},
    {"fd", false, false, true, false, 0, 0},
    {"gref", false, false, true, false, 0, 0},
    {"n", false, false, true, false, 0, 0},
    {"nft", false, false, true, false, 0, 0},
    {"orvane", false, false, true, false, 0, 0},
    {"noaccno", false, false, true, false, 0, 0},
    {"noannot", false, false, true, false, 0, 0},
    {"non", false, false, true, false, 0, 0},
    {"nonft", false, false, true, false, 0, 0},
    {"noorvane", false, false, true, false, 0, 0},
    {"noreg", false, false, true, false, 0, 0},
    {"nosrv", false, false, true, false, 0, 0},
    {"nosnp", false, false, true, false, 0, 0},
    {"nosv", false, false, true, false, 0, 0},
    {"oldtx", false, false, true, false, 0, 0},
    {"random", false, false, true, false, 0, 0},
    {"als", false, false, true, false, 0, 0},
    {"mask", false, false, true, false, 0, 0},
    {"meth", false, false, true, false, 0, 0},
    {"newq", false, false, true, false, 0, 0},
    {"noct", false, false, true, false, 0, 0},
    {"nohap", false, false, true, false, 0, 0},
    {"nometh", false, false, true, false, 0, 0},
    {"prs", false, false, true, false, 0, 0},
    {"qa", false, false, true, false, 0, 0},
    {"het", false, false, false, true, 0, 0},
    {"isplit", false, false, false, true, 0, 0},
    {"large", false, false, false, true, 0, 0},
    {"nohet", false, false, false, true, 0, 0},
    {"noisplit", false, false, false, true, 0, 0},
    {"nolarge", false, false, false, true, 0, 0},
    {"norip", false, false, false, true, 0, 0},
    {"noscaffold", false, false, false, true, 0, 0},
    {"nourt", false, false, false, true, 0, 0},
    {"rip", false, false, false, true, 0, 0},
    {"scaffold", false, false, false, true, 0, 0},
    {"urt", false, false, false, true, 0, 0},
    {"aca", false, false, false, true, 0, 0},
    {"acg", false, false, false, true, 0, 0},
    {"acl", false, false, false, true, 0, 0},
    {"acs", false, false, false, true, 0, 0},
    {"artifact", false, false, false, true, 0, 0},
    {"bcc", false, false, false, true, 0, 0},
    {"checkcons", false, false, false, true, 0, 0},
    {"dip", false, false, false, true, 0, 0},
    {"editgaps", false, false, false, true, 0, 0},
    {"finish", false, false, false, true, 0, 0},
    {"incr", false, false, false, true, 0, 0},
    {"nobcc", false, false, false, true, 0, 0},
    {"nod", false, false, false, true, 0, 0},
    {"nofinish", false, false, false, true, 0, 0},
    {"noqueue", false, false, false, true, 0, 0},
    {"pairdist", false, false, false, true, 0, 0},
    {"phase", false, false, false, true, 0, 0},
    {"reps", false, false, false, true, 0, 0},
    {"repfill", false, false, false, true, 0, 0},
    {"rd", false, false, false, true, 0, 0},
    {"r2", false, false, false, true, 0, 0},
    {"stopjoin", false, false, false, true, 0, 0},
    {"timer", false, false, false, true, 0, 0},
    {"nosort", false, false, false, false, 0, 0},
};
const int OPTION_CATALOGUE_SIZE = sizeof OPTION_CATALOGUE / sizeof OPTION_CATALOGUE[0];

// The usage text of the read-repair command.
static const char READFIX_USAGE[] =
    "Usage:  $NAME { -p | -np } [projectDir] readfile...\n"
    "        $NAME { -relink [-verbose] } [projectDir] ReadFileOldPath ReadFileNewPath\n"
    "Options:\n"
    "   -p            - These runs/files contain Zeq paired reads\n"
    "   -np           - Default paired-end library to use for these files\n"
    "   -relink       - Changes path of one or more RefSeq files with that\n"
    "                   path in a mapping project\n"
    "   -verbose      - Outputs additional info about read files being changed.\n"
    "                   If specified more than once, it will just output details\n"
    "                   about what is changing without doing actual changes.\n"
    "\n"
    "In the first mode (with either -p or -np), this command changes the paired-end\n"
    "read status for one or more read data files.The -p and -nop options can appear\n"
    "anywhere on the command-line and affect the files after the option until the\n"
    "appearance of the next option).\n"
    "The readfile arguments should be specified as follows:\n"
    "   - SFF filenames as they appear in the project's \"sff\" sub-dir\n"
    "   - Fasta files using the full path to their physical location.\n"
    "In the second mode (using -relink option and optionally -verbose), it will\n"
    "change the path of one or more existing read files containing \"old\" path\n"
    "into a \"new\" path in a given project. Path names should not contain file\n"
    "names. No wild (joker) characters are allowed in the path names.\n"
    "The path arguments should be specified as they appear in the project's XML\n"
    "file (i.e. full path to their physical location should be used for both sff\n"
    "and non-sff (fasta and fastq) files).\n"
    "The -verbose option will just list project's read files info if no -relink \n"
    "option and arguments are specified.\n";

// Every command: its name, its usage text and its valid options, in table order.
const CommandCatalogueRow COMMAND_CATALOGUE[] = {
    {"readjoin",
     "Usage:  $NAME [options] [projectDir] [MID_List@](sfffile | fnafile | "
     "[regions:]analysisDirectory)...\n",
     "custom, d, la, lib, mcf, noglob, nor, nosort, np, p, pool, r, sts"},
    {"samplejoin", "Usage:  $NAME -tsv sampleTable.tsv [-datapath datapath] projectDir [runs]\n",
     "clear, custom, d, lib, mcf, noglob, nor, nosort, np, p, r, datapath, tsv"},
    {"basefix", "Usage:  $NAME { [-relink] [-verbose] } [projectDir] RefSeqOldPath RefSeqNewPath\n",
     "relink, verbose"},
    {"readfix", READFIX_USAGE, "p, np, relink, verbose"},
    {"projbegin", "Usage:  mapbegin/asmbegin [projectDirectory]\n", "t, cdna, multi, force"},
    {"projdump", "Usage:  $NAME [options] [projectDirectory] \n", "-refseq, -contig"},
    {"quillon", "Usage:  projgo [projectDirectory]\n",
     "phaseb, phasec, aca, acg, acl, acs, a, accno, ace, acedir, ad, ais, ads, "
     "alignout, als, annot, artifact, ar, at, b, bam, bamsub, batchsize, bcc, consed, "
     "consed16, checkcons, cpu, cref, d, dip, dotalign, e, edit, editgaps, fd, fe, fi,"
     " finish, gencode, gref, gui, hap, het, hsl, icc, icl, ig, incr, info, infoall, "
     "isplit, it, l, large, lib, m, mallinfo, mask, maxd, maxsvf, meth, mi, minlen, "
     "minsvf, ml, mrerun, multisub, n, newq, orvane, no, noa, noaccno, noace, noannot,"
     " nobcc, nobam, nobig, noc, noct, nocutlinker, nod, nofe, nofi, nofinish, nft, "
     "nohap, nohet, noinfo, noisplit, nol, nolarge, nometh, non, nonft, noorvane, nop,"
     " nopw, noqueue, nor, noreg, norip, noscaffold, nosersvf, nosio, nosnp, nosv, "
     "nosrv, not, notrim, nourt, nov, novs, novt, np, npa, npv, npd, nps, npseq, npo, "
     "numn, numsamples, oldtx, optcfg, ovc, p, pt, pair, pairt, pairdist, phase, "
     "pickb, pickr, poor, prs, qa, qo, quiet, r, rcf, rd, reg, repfill, reps, rescore,"
     " rip, rst, r2, s, sc, scaffold, scfcmd, sersvf, short, sio, siom, siod, snp, sl,"
     " sqo, ss, srv, stopjoin, str, sveg, timeinfo, timer, tr, trim, tronly, ud, "
     "ulimit, urt, v, verbose, vs, vt"},
    {"readdrop", "Usage:  $NAME [projectDir] readfile...\n", ""},
    {"asmgo",
     "Usage:  $NAME [-o projdir] [-nrm] [-p (sfffile | [regionlist:]analysisDir)]... "
     "(sfffile | [regionlist:]analysisDir)...\n",
     "phaseb, phasec, aca, acg, acl, acs, a, ace, acedir, ad, ais, ads, alignout, "
     "artifact, ar, at, b, bam, bamsub, batchsize, bcc, cdna, checkcons, consed, "
     "consed16, cpu, datapath, dip, dotalign, e, edit, editgaps, fe, fi, finish, "
     "force, het, icc, icl, ig, incr, info, it, infoall, isplit, l, la, large, lib, m,"
     " mallinfo, maxsvf, mcf, mi, minlen, minsvf, ml, mrerun, multi, multisub, no, "
     "noa, noace, nobig, nobam, noc, nocutlinker, nod, nofe, nofi, nft, nohet, noinfo,"
     " noisplit, nonft, nol, nopw, noqueue, nor, norip, noscaffold, nosersvf, nosio, "
     "not, notrim, nourt, np, npa, npv, npd, nps, npseq, npo, nrm, numn, o, optcfg, "
     "ovc, p, pair, pairt, pairdist, phase, pickb, pickr, poor, qo, rcf, rd, repfill, "
     "reps, rescore, rip, s, sc, scaffold, scfcmd, sersvf, short, sio, siom, siod, sl,"
     " sqo, ss, stopjoin, timeinfo, timer, tr, tronly, tsv, ud, ulimit, urt, v, "
     "verbose, vs, vt"},
    {"mapgo", "Usage:  $NAME [options] refdesc [MIDList@]filedesc\n",
     "phaseb, phasec, a, accno, ace, acedir, ad, ais, ads, alignout, als, annot, ar, "
     "at, bam, bamsub, batchsize, cdna, consed, consed16, cpu, cref, d, datapath, "
     "dotalign, e, fd, fe, fi, force, gencode, gref, hap, hsl, info, infoall, l, m, "
     "mallinfo, mask, maxd, maxsvf, mcf, meth, mi, minlen, minsvf, ml, mrerun, multi, "
     "multisub, n, newq, orvane, no, noa, noace, noannot, nobam, nobig, noc, noct, "
     "nocutlinker, nft, nofe, nofi, nohap, noinfo, nonft, nopw, nor, nosersvf, nosio, "
     "nosnp, nosv, not, notrim, np, npa, npv, npd, nps, npo, nrm, numn, o, oldtx, "
     "optcfg, ovc, p, pair, pairt, pickb, pickr, poor, prs, qa, qo, random, rcf, reg, "
     "rescore, rst, sc, scfcmd, sersvf, short, sio, siom, siod, snp, sqo, sl, ss, srv,"
     " sveg, timeinfo, tr, tronly, tsv, ud, ulimit, v, verbose, vs, vt"},
    {"projgo", "Usage:  $NAME [projectDirectory]\n",
     "phaseb, phasec, aca, acg, acl, acs, a, accno, ace, acedir, ad, ais, ads, "
     "alignout, als, annot, artifact, ar, at, b, bam, bamsub, batchsize, bcc, "
     "checkcons, consed, consed16, cpu, cref, d, dip, dotalign, e, edit, editgaps, fd,"
     " fe, fi, finish, gencode, gref, gui, het, hsl, icc, icl, ig, incr, info, "
     "infoall, isplit, it, l, large, lib, m, mallinfo, mask, maxd, maxsvf, meth, mi, "
     "minlen, minsvf, ml, mrerun, multi, n, newq, orvane, no, noa, noaccno, noace, "
     "noannot, nobam, nobig, nobcc, noc, noct, nocutlinker, nod, nofe, nofi, nofinish,"
     " nft, nohap, nohet, noinfo, noisplit, nol, nolarge, nometh, non, noorvane, "
     "nonft, nop, nopw, noqueue, nosio, nor, noreg, norip, noscaffold, nosersvf, "
     "nosnp, nosv, nosrv, not, notrim, nourt, nov, novs, novt, np, npa, npv, npd, nps,"
     " npseq, npo, numn, oldtx, optcfg, ovc, p, pt, pair, pairt, pairdist, phase, "
     "pickb, pickr, poor, prs, qa, qo, r, rd, reg, repfill, reps, rescore, rip, rcf, "
     "rst, r2, s, sc, scaffold, scfcmd, sersvf, short, sio, siom, siod, sl, snp, sqo, "
     "ss, srv, stopjoin, sveg, timeinfo, timer, tr, trim, tronly, ud, ulimit, urt, v, "
     "verbose, vs, vt"},
    {"basejoin", "Usage:  $NAME [projectDir] [fastafile | directory | genomename]...\n",
     "clear, cref, gref, random"},
    {"projhalt", "Usage:  $NAME [projectDir]\n", "quiet"},
};
const int COMMAND_CATALOGUE_SIZE = sizeof COMMAND_CATALOGUE / sizeof COMMAND_CATALOGUE[0];

// Options valid for every command.
const char* const DEFAULT_OPTIONS[] = {"version", "help"};
const int DEFAULT_OPTIONS_SIZE = sizeof DEFAULT_OPTIONS / sizeof DEFAULT_OPTIONS[0];

// Groups of options of which at most one may be given.
const char* const EXCLUSIVE_OPTIONS[] = {
    "ace, noace, acedir, consed, consed16",
    "ar, at, ad",
    "acg, aca, acl, acs",
    "bam, nobam",
    "bamsub, nobam",
    "pair, pt, pairt, nop",
    "info, infoall, noinfo",
    "sio, siom, siod, nosio",
    "cref, gref",
    "isplit, noisplit",
    "nft, nonft",
    "sersvf, nosersvf",
    "pickr, pickb",
    "scaffold, noscaffold",
    "urt, nourt",
};
const int EXCLUSIVE_OPTIONS_SIZE = sizeof EXCLUSIVE_OPTIONS / sizeof EXCLUSIVE_OPTIONS[0];
