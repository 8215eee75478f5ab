// Loss of power below SQLite: a file layer that knows what of each file has reached the disk. At a chosen call it turns
// the files into what a disk may hold then, and ends the process: changes after the last sync of a file are gone, or
// there in part and in any order. Linking this file puts the layer in place before SQLite starts; until a loss is
// planned it passes everything through.
#ifndef VELQ_RELIABILITY_POWER_LOSS_LAYER_H
#define VELQ_RELIABILITY_POWER_LOSS_LAYER_H

namespace velq::reliability {

// Which of the changes that were not synced are lost.
enum class Loss {
    all,
    some,    // each of them or not, and single sectors of it
    allAfter // a point in their order
};

// From now on, files that are opened are followed; the power goes at the `call`-th call from now that changes a file,
// counted from 1; at none for 0. The process ends with SIGKILL. It must run one thread, have no database open now, and
// open those of one folder only.
void planPowerLoss(long call, Loss loss, unsigned seed);

// The calls that changed a file since then.
long changesSeen();

} // namespace velq::reliability

#endif
