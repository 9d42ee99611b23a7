#pragma once
// Row operations, shared tables, sequential stages and resampling.
