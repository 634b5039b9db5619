#pragma once

// Never compiled: an input to the check of the layers' includes.
