run log --level warning "disk low"
run log --level error "could not save the journal"
