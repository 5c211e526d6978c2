"""What scripts/check-contracts and scripts/new-contract know of the contracts."""
