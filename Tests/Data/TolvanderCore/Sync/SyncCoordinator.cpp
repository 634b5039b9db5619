// Never compiled: tells the check of the folders' includes to which folder TolvanderCore/SyncCoordinator.h
// belongs.
